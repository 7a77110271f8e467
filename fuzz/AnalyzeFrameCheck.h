#pragma once

#include "ketstats/ketstats.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

// What must hold for the analysis of any frame, cut at any length. The fuzz target and the test that replays
// its past failures share it. A read outside of the captured bytes is for the address sanitizer to find:
// every cut lies in a block of the heap of exactly its size.
namespace fuzz {

using Bytes = std::span<unsigned char const>;

// A frame is cut at every length up to this one, to keep long inputs quick; then it is analysed whole.
constexpr std::size_t longestCut = 512;

// Zeros that stand behind a cut frame where it is compared with a whole one: more than any header takes.
constexpr std::size_t padding = 32;

// All that an analysis tells, to be compared.
struct Result
{
    explicit Result(CEthernetInfo const & media)
        : networkOffset(media.networkOffset),
          frameFormat(media.frameFormat),
          source(media.sourceMAC),
          destination(media.destinationMAC),
          protocolId(media.protocolId),
          vlanTag{media.vlanTag[0], media.vlanTag[1]},
          broadcast(media.IsBroadcast()),
          multicast(media.IsMulticast())
    {}

    friend bool operator==(Result const &, Result const &) = default;

    unsigned int networkOffset;
    unsigned int frameFormat;
    CMACAddr source;
    CMACAddr destination;
    CProtocolId protocolId;
    unsigned char vlanTag[2];
    bool broadcast;
    bool multicast;
};

inline CEthernetInfo const & analysed(CNetworkFrame & frame)
{
    return static_cast<CEthernetInfo const &>(*frame.AnalyzeFrame());
}

// Tells which rule the analysis of `cut` breaks, empty if none. `padded` is the same bytes with at least
// `padding` zeros behind them.
inline std::string brokenRule(CNetworkFrame & frame, Bytes cut, Bytes padded)
{
    CEthernetInfo const & media = analysed(frame);
    Result const result(media);

    if (&analysed(frame) != &media || Result(media) != result)
        return "a frame keeps its analysis";
    CNetworkFrame whole(padded.data(), static_cast<unsigned int>(padded.size()), 0);
    if (Result(analysed(whole)) != result)
        return "what lies beyond the captured bytes reads as zero";

    if (std::memcmp(media.destinationMAC.bytes.data(), padded.data(), 6) != 0 ||
        std::memcmp(media.sourceMAC.bytes.data(), padded.data() + 6, 6) != 0)
        return "the addresses are the first twelve bytes";
    if (result.broadcast && !result.multicast)
        return "the address of all is one of a group";
    if (media.GetOverhead() != CEthernetInfo::frameCheckSequence)
        return "the overhead is the frame check sequence";

    switch (media.frameFormat) {
    case CEthernetInfo::ffEthernet2:
    case CEthernetInfo::ffRawIPX:
    case CEthernetInfo::ffLLC:
    case CEthernetInfo::ffSNAP:
    case CEthernetInfo::ffTaggedEthernet2:
    case CEthernetInfo::ffTagged8023:
        break;
    default:
        return "every frame has one of the formats";
    }
    unsigned char const noTag[2] = {};
    if (std::memcmp(media.vlanTag, media.hasVlanTag() ? padded.data() + 14 : noTag, 2) != 0)
        return "the tag is the two bytes behind the first tag type";

    // At least the header of Ethernet II; at most an LLC header whose length field's first byte is the last
    // one captured, behind a tag type of which only half is there.
    unsigned int const shortest = media.hasVlanTag() ? 18 : 14;
    std::size_t const longest = std::max<std::size_t>(17, cut.size() + 8);
    if (media.networkOffset < shortest || media.networkOffset > longest)
        return "the network header stands behind the headers that were read";

    int const idBytes = media.frameFormat == CEthernetInfo::ffLLC ? 1 : 2;
    if (std::any_of(media.protocolId.bytes.begin(), media.protocolId.bytes.end() - idBytes,
                    [](unsigned char byte) { return byte != 0; }))
        return "a protocol id is right-aligned";

    if (media.frameFormat == CEthernetInfo::ffEthernet2 ||
        media.frameFormat == CEthernetInfo::ffTaggedEthernet2) {
        unsigned char const * const type = padded.data() + media.networkOffset - 2;
        unsigned int const number = static_cast<unsigned int>(type[0]) << 8 | type[1];
        if (std::memcmp(media.protocolId.bytes.data() + 4, type, 2) != 0)
            return "the protocol id is the type in front of the network header";
        if (number < 0x0600 || number == 0x8100 || number == 0x88A8 || number == 0x9100)
            return "a length or a tag is no type";
    }
    return {};
}

// The frames and bytes of the rows of a frame table.
struct Sums
{
    explicit Sums(KetStats::CBaseStat const & table)
    {
        for (unsigned int index = 0; index < table.getChildrenCount(); ++index) {
            auto const & row = static_cast<KetStats::CFrameTypeOrSizeStat const &>(*table.getChild(index));
            frames += row.frames;
            data += row.data;
        }
    }
    Sums(unsigned int theFrames, long long theData) : frames(theFrames), data(theData) {}

    friend bool operator==(Sums const &, Sums const &) = default;

    unsigned int frames = 0;
    long long data = 0;
};

// The frames of the rows of a table, none of which has been given up.
template <class Table>
unsigned int framesOf(Table const & table)
{
    unsigned int frames = 0;
    for (auto const & row : table)
        frames += row.framesTransmitted;
    return frames;
}

// The same for what a manager counts, with frames and bytes counted beside it.
class CCounting
{
public:
    CCounting()
    {
        for (KetStats::CKetrinStatManager * const manager : {&m_manager, &m_padded}) {
            for (char const * group : {"1.1", "1.2", "1.3", "1.4", "1.5", "1.6", "1.7", "1.8", "1.9", "2.1",
                                       "2.2", "2.3", "2.4", "2.5", "2.6", "2.7"})
                manager->enableStatistic(group);
            manager->beginAnalyzing(nullptr);
        }
    }

    // `padded` is the same bytes with zeros behind them.
    void count(CNetworkFrame & frame, Bytes padded)
    {
        m_manager.analyzeFrame(&frame);
        ++m_expected.frames;
        m_expected.data += (frame.GetLength() & 0xFFFF) + CEthernetInfo::frameCheckSequence;
        CNetworkFrame whole(padded.data(), static_cast<unsigned int>(padded.size()),
                            static_cast<unsigned int>(frame.GetLength()));
        m_padded.analyzeFrame(&whole);
    }

    std::string brokenRule()
    {
        KetStats::CAgentStatistic const & statistics = m_manager.getAgentStatistic();
        auto const & global = statistics.globalStatistics;
        if (Sums(global.transmittedFrames, global.transmittedData) != m_expected)
            return "the global counters count every frame";
        if (Sums(statistics.frameTables.frameTypes) != m_expected)
            return "every frame has a type";
        if (Sums(statistics.frameTables.frameSizes) != m_expected)
            return "every frame has a size class";
        KetStats::CExtendedStatistic const & extended = m_manager.getExtendedStatistic();
        if (framesOf(extended.ipv6Connections) != framesOf(extended.ipv6Protocols))
            return "what has the addresses of IPv6 has a protocol too";
        if (framesOf(extended.vlans.inner) > framesOf(extended.vlans.outer))
            return "an inner tag has an outer one";
        return differenceOfPadded();
    }

private:
    // Where no header has to be there whole, what wasn't captured counts as zeros do.
    std::string differenceOfPadded()
    {
        KetStats::CExtendedStatistic & mine = m_manager.getExtendedStatistic();
        KetStats::CExtendedStatistic & theirs = m_padded.getExtendedStatistic();
        if (mine.ipv6Connections.collate(theirs.ipv6Connections) != 0)
            return "addresses of IPv6 beyond the captured bytes are zeros";
        if (mine.vlans.collate(theirs.vlans) != 0)
            return "tags beyond the captured bytes are zeros";
        for (auto const counter :
             {&KetStats::CSignalsStat::arpRequests, &KetStats::CSignalsStat::arpReplies,
              &KetStats::CSignalsStat::gratuitousArps, &KetStats::CSignalsStat::overlongPackets})
            if ((mine.signals.*counter).get() != (theirs.signals.*counter).get())
                return "signals of what wasn't captured are those of zeros";
        // Headers that end early hide what stands behind them, and never show what isn't there.
        if (framesOf(mine.ipv6Ports.tcpPorts) > framesOf(theirs.ipv6Ports.tcpPorts) ||
            framesOf(mine.ipv6Ports.udpPorts) > framesOf(theirs.ipv6Ports.udpPorts))
            return "ports that weren't captured aren't counted";
        return {};
    }

    KetStats::CKetrinStatManager m_manager;
    KetStats::CKetrinStatManager m_padded; // counts the same frames with zeros behind them
    Sums m_expected{0, 0};
};

// Analyses and counts a frame cut at every length. Empty if all is well, otherwise what should have held.
inline std::string checkFrame(Bytes input)
{
    CCounting counting;
    // A record of a capture can tell any length on the wire; the frame's own bytes serve as one.
    unsigned int toldLength = 0;
    for (unsigned char byte : input.first(std::min(input.size(), sizeof toldLength)))
        toldLength = toldLength << 8 | byte;

    std::vector<unsigned char> padded(input.size() + padding);
    CNetworkFrame frame;
    for (std::size_t size = 0; size <= input.size(); ++size) {
        if (size > 0)
            padded[size - 1] = input[size - 1];
        if (size > longestCut && size < input.size())
            continue;

        auto const exact = std::make_unique<unsigned char[]>(size);
        std::copy_n(input.begin(), size, exact.get());
        auto const captured = static_cast<unsigned int>(size);

        frame.Assign(exact.get(), captured, static_cast<unsigned int>(input.size()));
        std::string broken = brokenRule(frame, {exact.get(), size}, padded);
        if (!broken.empty())
            return broken + ", cut at " + std::to_string(size);
        counting.count(frame, padded);

        frame.Assign(exact.get(), captured, toldLength);
        counting.count(frame, padded);
    }
    return counting.brokenRule();
}

} // namespace fuzz
