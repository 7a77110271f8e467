#include "host/capture/MediumExpression.h"

#include "host/capture/CaptureExpression.h"
#include "host/capture/LinkType.h"
#include "host/capture/MediumFrame.h"
#include "tests/host/ExtensionChains.h"
#include "tests/host/LibpcapProgram.h"
#include "tests/support/Filters.h"
#include "tests/support/IPv6Frames.h"

#include <gtest/gtest.h>

#include <utility>

// The expressions of filters for frames of other media, held against what libpcap makes of them, frame by frame.

using namespace test;

namespace linktype = ketmon::linktype;

namespace {

constexpr std::uint32_t media[] = {linktype::linuxSll, linktype::linuxSll2, linktype::null,
                                   linktype::loop,     linktype::raw,       linktype::ipv4,
                                   linktype::ipv6,     linktype::ppp,       linktype::pppHdlc};

constexpr unsigned int ipv4 = 0x0800;
constexpr unsigned int ipv6 = 0x86DD;

bool isCooked(std::uint32_t linkType)
{
    return linkType == linktype::linuxSll || linkType == linktype::linuxSll2;
}

Bytes word(unsigned int number)
{
    return {static_cast<unsigned char>(number >> 8), static_cast<unsigned char>(number)};
}

// With the type of hardware, the length of its address, and that: ten bytes.
Bytes cooked(std::uint32_t linkType, unsigned int protocol,
             std::string const & sender = "0006 02000000000A 0000")
{
    return linkType == linktype::linuxSll
               ? bytes("0000 0001") + bytes(sender) + word(protocol)
               : word(protocol) + bytes("0000 00000003 0001 00") + bytes(sender.substr(2));
}

// All that can stand in front of a packet of that protocol, and of one that counts as none of them, which is 0.
std::vector<Bytes> frontsOf(std::uint32_t linkType, unsigned int protocol)
{
    std::vector<Bytes> fronts;
    switch (linkType) {
    case linktype::linuxSll:
    case linktype::linuxSll2:
        for (unsigned int tags = 0; tags <= 3; ++tags) {
            Bytes const front = cooked(linkType, tags > 0 ? 0x8100 : protocol == 0 ? 0x88B5 : protocol);
            Bytes between;
            for (unsigned int tag = 1; tag <= tags; ++tag)
                between = between + word(5) +
                          word(tag < tags      ? (tag == 1 ? 0x88A8 : 0x9100)
                               : protocol == 0 ? 0x88B5
                                               : protocol);
            fronts.push_back(front + between);
            Bytes inSNAP = fronts.back();
            std::size_t const type =
                tags > 0 || linkType == linktype::linuxSll ? inSNAP.size() - 2 : std::size_t{0};
            inSNAP[type] = 0;
            inSNAP[type + 1] = 4;
            fronts.push_back(inSNAP + bytes("AAAA03 000000") + word(protocol == 0 ? 0x88B5 : protocol));
        }
        return fronts;
    case linktype::null:
    case linktype::loop:
        if (protocol == ipv4)
            return {bytes("02000000"), bytes("00000002")};
        for (char const * family : {"18", "1C", "1E"}) {
            fronts.push_back(bytes(std::string(family) + "000000"));
            fronts.push_back(bytes(std::string("000000") + family));
        }
        return protocol == 0 ? std::vector{bytes("07000000"), bytes("00000007")} : fronts;
    case linktype::ppp:
    case linktype::pppHdlc:
        for (char const * front : {"FF0300", "FF03", "00", ""})
            fronts.push_back(bytes(front) + bytes(protocol == ipv4 ? "21" : protocol == ipv6 ? "57" : "0F"));
        return fronts;
    default: // what the packet says itself, if anything does
        return {Bytes()};
    }
}

ketmon::CMedium mediumOf(std::uint32_t linkType, Bytes const & frame)
{
    ketmon::CMedium medium;
    ketmon::analyseMedium(linkType, CBoundedBytes(frame.data(), static_cast<unsigned int>(frame.size())),
                          medium);
    return medium;
}

unsigned int tagsOf(std::uint32_t linkType, CBoundedBytes frame)
{
    unsigned int tags = 0;
    unsigned int type = frame.word(linkType == linktype::linuxSll ? 14 : 0);
    unsigned int at = linkType == linktype::linuxSll ? 16 : 20;
    for (; type == 0x8100 || type == 0x88A8 || type == 0x9100; ++tags, at += 4)
        type = frame.word(at + 2);
    return tags;
}

// The frame as an expression sees it. Where the two languages differ this is another frame, one of a protocol
// that nobody asks for: it has more than two tags, or more than two extension headers.
Bytes asLibpcapSees(std::uint32_t linkType, Bytes frame)
{
    CBoundedBytes const bytes(frame.data(), static_cast<unsigned int>(frame.size()));
    if (isCooked(linkType) && tagsOf(linkType, bytes) > 2) {
        std::size_t const type = linkType == linktype::linuxSll ? 14 : 0;
        frame[type] = frame[type + 1] = 0x77;
        return frame;
    }
    ketmon::CMedium const medium = mediumOf(linkType, frame);
    unsigned int const packet = medium.networkOffset;
    bool const isIPv6 = medium.protocolId.bytes[4] == 0x86 && medium.protocolId.bytes[5] == 0xDD;
    if (isIPv6 && packet + 6 < frame.size() && extensionHeadersOf(bytes.from(packet)) > 2)
        frame[packet + 6] = 253;
    return frame;
}

Bytes padded(Bytes frame)
{
    frame.resize(frame.size() + 256);
    return frame;
}

bool passes(CFilter const & filter, std::uint32_t linkType, Bytes const & frame)
{
    auto const size = static_cast<unsigned int>(frame.size());
    ketmon::CMediumFrame const captured({frame.data(), size, size, 0, linkType});
    return filter.IsSatisfied(&captured);
}

// Compares the verdicts on frames, cut ones too, and counts how many passed.
class Comparison
{
public:
    Comparison(CFilter const & filter, std::uint32_t linkType, Optimiser optimiser)
        : m_filter(filter),
          m_linkType(linkType),
          m_expression(ketmon::mediumExpression(filter, linkType)),
          m_program(m_expression, optimiser, linkType)
    {}

    void hold(Bytes const & frame)
    {
        holdWhole(frame);
        // libpcap passes no frame of which it would have to read a byte that is missing, and never passes one
        // for that reason.
        EXPECT_LE(m_program.passes(frame), passes(m_filter, m_linkType, asLibpcapSees(m_linkType, frame)))
            << told(frame);
    }

    // Nothing is cut off, or as if zeros had been.
    void holdWhole(Bytes const & frame)
    {
        Bytes const whole = padded(frame);
        bool const expected = passes(m_filter, m_linkType, asLibpcapSees(m_linkType, whole));
        EXPECT_EQ(m_program.passes(whole), expected) << told(frame);
        (expected ? m_passed : m_rejected) += 1;
    }

    unsigned int passed() const { return m_passed; }
    unsigned int rejected() const { return m_rejected; }
    unsigned int instructions() const { return m_program.size(); }

private:
    std::string told(Bytes const & frame) const
    {
        return std::to_string(m_linkType) + ": " + m_expression + "\n" + testing::PrintToString(frame) +
               "\n" + testing::PrintToString(packedFilter(m_filter));
    }

    CFilter const & m_filter;
    std::uint32_t m_linkType;
    std::string m_expression;
    LibpcapProgram m_program;
    unsigned int m_passed = 0;
    unsigned int m_rejected = 0;
};

// As rows of the second tree have them.
Filter connection()
{
    return all(protocol(ipv6), address6("2001:db8::a", 8), address6("2001:db8::b", 24));
}

Filter portRow(unsigned int transport, unsigned int number)
{
    return all(protocol(ipv6), protocol6(transport),
               port6(number, transport == 6 ? CIPPortFilter::ptTCP : CIPPortFilter::ptUDP));
}

Filter neighbour(char const * mac)
{
    return all(protocol(ipv6), protocol6(58), any(from(mac), to(mac)));
}

std::vector<Filter> rows()
{
    std::vector<Filter> filters;
    filters.push_back(connection());
    for (unsigned int number : {6U, 17U, 44U})
        filters.push_back(all(protocol(ipv6), protocol6(number)));
    filters.push_back(portRow(6, 80));
    filters.push_back(portRow(17, 1025));
    return filters;
}

// Packets behind each front in turn, so that each front has many.
std::vector<Bytes> framesOf(std::uint32_t linkType, std::vector<Bytes> const & packets, std::size_t step)
{
    std::vector<Bytes> frames;
    std::size_t first = 0;
    for (unsigned int protocol : {ipv6, ipv6, ipv4, 0U})
        for (Bytes const & front : frontsOf(linkType, protocol)) {
            for (std::size_t i = first; i < packets.size(); i += step)
                frames.push_back(front + packets[i]);
            first = (first + 1) % step;
        }
    return frames;
}

class MediumExpressions : public testing::TestWithParam<std::uint32_t>
{};

// Of no header up to one more than an expression looks behind, with libpcap's optimiser and without.
TEST_P(MediumExpressions, SelectWhatStandsBehindExtensionHeaders)
{
    std::vector<Bytes> packets;
    for (unsigned int headers = 0; headers <= 3; ++headers)
        for (Bytes const & packet : chainsOf(headers))
            packets.push_back(packet);
    std::vector<Bytes> const frames = framesOf(GetParam(), packets, 5);
    ASSERT_GT(frames.size(), 300U);
    std::vector<Filter> filters = rows();
    for (Filter & filter : filtersOfIPv6())
        filters.push_back(std::move(filter));

    unsigned int selective = 0;
    for (Optimiser const optimiser : {Optimiser::off, Optimiser::on})
        for (Filter const & filter : filters) {
            Comparison comparison(*filter, GetParam(), optimiser);
            for (Bytes const & frame : frames)
                comparison.holdWhole(frame);
            selective += comparison.passed() > 0 && comparison.rejected() > 0;
            if (HasFailure())
                return;
        }
    EXPECT_GE(selective, GetParam() == linktype::ipv4 ? 0U : 60U);
}

TEST_P(MediumExpressions, SelectWhatStandsBehindExtensionHeadersOfCutFrames)
{
    std::vector<Bytes> packets;
    for (unsigned int headers = 0; headers <= 2; ++headers)
        for (Bytes const & packet : chainsOf(headers))
            packets.push_back(packet);
    std::vector<Bytes> const frames = framesOf(GetParam(), packets, 23);
    std::vector<Filter> filters = rows();
    for (Filter & filter : filtersOfIPv6())
        filters.push_back(std::move(filter));

    for (Filter const & filter : filters) {
        Comparison comparison(*filter, GetParam(), Optimiser::off);
        for (Bytes const & frame : frames)
            for (std::size_t length = 0; length <= frame.size(); ++length)
                comparison.hold({frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length)});
        if (HasFailure())
            return;
    }
}

// A frame that was of Ethernet as that medium would have it.
Bytes rewritten(std::uint32_t linkType, Bytes const & ethernet, RandomTraffic & random)
{
    if (isCooked(linkType)) {
        CBoundedBytes const bytes(ethernet.data(), static_cast<unsigned int>(ethernet.size()));
        constexpr char const * senders[] = {"0006 02000000000A 0000", "0006 02000000000B 0000",
                                            "0008 02000000000A 0000", "0000 000000000000 0000",
                                            "0006 000000000000 0000"};
        unsigned int const type = bytes.word(12);
        Bytes frame = cooked(linkType,
                             type >= 0x600          ? type
                             : random.below(4) == 0 ? random.below(6)
                                                    : 4U,
                             senders[random.below(5)]);
        frame[linkType == linktype::linuxSll ? 1 : 10] = static_cast<unsigned char>(random.below(5));
        if (ethernet.size() > 14)
            frame.insert(frame.end(), ethernet.begin() + 14, ethernet.end());
        else if (random.below(2) == 0)
            frame.resize(random.below(static_cast<unsigned int>(frame.size())));
        return frame;
    }
    Frame captured(ethernet);
    CMediaInfo const & known = *captured.AnalyzeFrame();
    unsigned int const number =
        static_cast<unsigned int>(known.protocolId.bytes[4]) << 8 | known.protocolId.bytes[5];
    std::vector<Bytes> const fronts = frontsOf(linkType, number == ipv4 || number == ipv6 ? number : 0);
    Bytes frame = fronts[random.below(static_cast<unsigned int>(fronts.size()))];
    if (known.networkOffset < ethernet.size())
        frame.insert(frame.end(), ethernet.begin() + known.networkOffset, ethernet.end());
    return frame;
}

// All kinds of filters, one within the other, with "not" around them.
TEST_P(MediumExpressions, SayWhatFiltersPass)
{
    for (unsigned int seed : {40U, 41U}) {
        RandomTraffic traffic(seed);
        std::vector<Bytes> frames;
        for (int i = 0; i < 300; ++i)
            frames.push_back(rewritten(GetParam(), traffic.frame(), traffic));

        unsigned int selective = 0;
        for (int i = 0; i < 600 && !HasFailure(); ++i) {
            Filter const filter = traffic.filter();
            Comparison comparison(*filter, GetParam(), Optimiser::off);
            for (Bytes const & frame : frames)
                comparison.hold(frame);
            selective += comparison.passed() > 0 && comparison.rejected() > 0;
        }
        EXPECT_GT(selective, 50U) << seed;
    }
}

// The kernel takes 4,096 instructions, of what the optimiser leaves.
TEST_P(MediumExpressions, OfRowsAreShortEnoughForTheKernel)
{
    constexpr unsigned int most = 4096;
    std::vector<Filter> filters = rows();
    filters.push_back(neighbour(macA));
    for (Filter const & filter : filters)
        EXPECT_LT(Comparison(*filter, GetParam(), Optimiser::on).instructions(), most / 2);
}

INSTANTIATE_TEST_SUITE_P(LinkTypes, MediumExpressions, testing::ValuesIn(media),
                         [](auto const & link) { return ketmon::linkTypeKey(link.param); });

// Where libpcap finds the packet it is asked by its names, as on Ethernet; else bytes are named by their place.
TEST(MediumExpression, NamesThePacketWhereLibpcapFindsIt)
{
    std::string const named = "ip6 src host 2001:db8::a and ip6 dst host 2001:db8::b";
    auto const placed = [](unsigned int at) {
        auto const word = [](unsigned int place, char const * number) {
            return "ether[" + std::to_string(place) + ":4] = 0x" + number;
        };
        return "(" + word(at + 8, "20010db8") + " and " + word(at + 12, "00000000") + " and " +
               word(at + 16, "00000000") + " and " + word(at + 20, "0000000a") + ") and (" +
               word(at + 24, "20010db8") + " and " + word(at + 28, "00000000") + " and " +
               word(at + 32, "00000000") + " and " + word(at + 36, "0000000b") + ")";
    };

    EXPECT_EQ(ketmon::mediumExpression(*connection(), linktype::raw), named);
    EXPECT_EQ(ketmon::mediumExpression(*connection(), linktype::ipv6), named);
    EXPECT_EQ(ketmon::mediumExpression(*connection(), linktype::ipv4), "len < 0");
    EXPECT_EQ(ketmon::mediumExpression(*connection(), linktype::linuxSll).rfind("(" + named + ") or (", 0),
              0U);
    EXPECT_EQ(ketmon::mediumExpression(*connection(), linktype::ppp),
              "(ether[0:4] = 0xff030057 and (" + placed(4) +
                  ")) or "
                  "((ether[0:2] = 0xff03 and ether[2] = 0x57) and (" +
                  placed(3) +
                  ")) or "
                  "(ether[0:2] = 0x0057 and (" +
                  placed(2) +
                  ")) or "
                  "(ether[0] = 0x57 and (" +
                  placed(1) + "))");
}

// What a port says of the protocol isn't said beside it.
TEST(MediumExpression, SaysOnceWhatSeveralPartsAskFor)
{
    for (std::uint32_t const linkType : media)
        EXPECT_EQ(ketmon::mediumExpression(*portRow(6, 80), linkType),
                  ketmon::mediumExpression(*port6(80, CIPPortFilter::ptTCP), linkType));
    EXPECT_EQ(ketmon::mediumExpression(*all(protocol(ipv4), subprotocol(6), port(80, CIPPortFilter::ptTCP)),
                                       linktype::raw),
              "ip proto 6 and (ip[(ip[0] & 0xf) << 2:2] = 80 or ip[((ip[0] & 0xf) << 2) + 2:2] = 80)");
}

TEST(MediumExpression, PassesNoVlanSinceTagsOfOtherMediaAreNotCounted)
{
    for (std::uint32_t const linkType : media)
        for (CVlanFilter::eTag const tag : {CVlanFilter::vtOuter, CVlanFilter::vtInner})
            EXPECT_EQ(ketmon::mediumExpression(*vlan(5, tag), linkType), "len < 0");
}

// Cooked frames tell the sender's address, if it has six bytes; nobody else's is told, and reads as zeros.
TEST(MediumExpression, KnowsTheSenderWhereTheMediumTellsIt)
{
    char const * const zeros = "00-00-00-00-00-00";
    Bytes const message = test::ipv6Packet(v6A, v6B, 58, icmpv6(136, 0, Bytes(20)), 255);
    for (std::uint32_t const linkType : media) {
        std::vector<Bytes> frames;
        if (isCooked(linkType))
            for (char const * const sender : {"0006 02000000000A 0000", "0006 02000000000B 0000",
                                              "0008 02000000000A 0000", "0006 000000000000 0000"})
                frames.push_back(cooked(linkType, ipv6, sender) + message);
        else
            for (Bytes const & front : frontsOf(linkType, ipv6))
                frames.push_back(front + message);

        for (char const * const mac : {macA, macC, zeros})
            for (bool const isNegated : {false, true})
                for (Optimiser const optimiser : {Optimiser::off, Optimiser::on}) {
                    Filter filters[] = {from(mac), to(mac), neighbour(mac)};
                    for (Filter const & filter : filters) {
                        filter->negated = isNegated;
                        Comparison comparison(*filter, linkType, optimiser);
                        for (Bytes const & frame : frames)
                            comparison.hold(frame);
                    }
                }
        Filter const fromA = neighbour(macA);
        Comparison ofA(*fromA, linkType, Optimiser::on);
        for (Bytes const & frame : frames)
            ofA.hold(frame);
        EXPECT_EQ(ofA.passed(), isCooked(linkType) ? 1U : 0U);
    }
}

// As `ketmon filter` and `ketmon read --filter` try them: framings are brought into the form that libpcap knows.
TEST(MediumExpression, SelectsTheSameFramesInTheFormThatLibpcapKnows)
{
    Bytes const packet = chainsOf(1).front();
    for (std::uint32_t const linkType : media)
        for (Filter const & filter : rows()) {
            auto const expression = ketmon::compiledExpression(ketmon::mediumExpression(*filter, linkType));
            for (Bytes const & front : frontsOf(linkType, ipv6)) {
                Bytes const frame = front + packet;
                auto const size = static_cast<unsigned int>(frame.size());
                EXPECT_EQ(expression->passes({frame.data(), size, size, 0, linkType}),
                          passes(*filter, linkType, asLibpcapSees(linkType, frame)))
                    << linkType << ": " << testing::PrintToString(frame);
            }
        }
}

} // namespace
