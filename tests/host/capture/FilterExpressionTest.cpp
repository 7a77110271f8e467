#include "host/capture/LoadedCapture.h"

#include "tests/host/ExtensionChains.h"
#include "tests/host/LibpcapProgram.h"
#include "tests/support/Filters.h"
#include "tests/support/IPv6Frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>

// The expressions that filters describe themselves by, held against what libpcap makes of them.

using namespace test;

namespace {

using Program = LibpcapProgram;

// The frame with all that a filter can read behind its end: zeros, as filters read them.
Bytes padded(Bytes frame)
{
    frame.resize(frame.size() + 256);
    return frame;
}

unsigned int tagsOf(Bytes const & frame)
{
    unsigned int tags = 0;
    for (CBoundedBytes const bytes(frame.data(), static_cast<unsigned int>(frame.size()));; ++tags) {
        unsigned int const type = bytes.word(12 + 4 * tags);
        if (type != 0x8100 && type != 0x88A8 && type != 0x9100)
            return tags;
    }
}

// Where the header of IPv6 begins, if the frame has one.
std::optional<unsigned int> ipv6Of(CBoundedBytes frame, unsigned int tags)
{
    unsigned int const type = 12 + 4 * tags;
    if (frame.word(type) == 0x86DD)
        return type + 2;
    bool const isSNAP = frame.word(type) < 0x600 && frame.word(type + 2) == 0xAAAA && frame[type + 4] == 0x03;
    return isSNAP && frame.word(type + 8) == 0x86DD ? std::optional(type + 10) : std::nullopt;
}

// The frame as an expression sees it. Where the two languages differ this is another frame, one of a protocol
// that nobody asks for: it has more than two tags, or more than two extension headers.
Bytes asLibpcapSees(Bytes frame)
{
    unsigned int const tags = tagsOf(frame);
    CBoundedBytes const bytes(frame.data(), static_cast<unsigned int>(frame.size()));
    if (tags > 2) {
        frame.resize(12 + 2 * 4);
        return frame + test::bytes("77 77");
    }
    auto const network = ipv6Of(bytes, tags);
    if (network && *network + 6 < frame.size() && extensionHeadersOf(bytes.from(*network)) > 2)
        frame[*network + 6] = 253;
    return frame;
}

// Compares the verdicts on frames, cut ones too, and counts how many passed.
class Comparison
{
public:
    explicit Comparison(Filter filter, Optimiser optimiser = Optimiser::on)
        : m_filter(std::move(filter)),
          m_expression(m_filter->GetDescription()),
          m_program(m_expression, optimiser)
    {}

    void hold(Bytes const & frame)
    {
        holdWhole(frame);
        // libpcap passes no frame of which it would have to read a byte that is missing, and never passes one
        // for that reason.
        EXPECT_LE(m_program.passes(frame), passes(m_filter, asLibpcapSees(frame)))
            << m_expression << "\n"
            << testing::PrintToString(frame) << "\n"
            << testing::PrintToString(packedFilter(*m_filter));
    }

    // Nothing is cut off, or as if zeros had been.
    void holdWhole(Bytes const & frame)
    {
        bool const expected = passes(m_filter, asLibpcapSees(padded(frame)));
        EXPECT_EQ(m_program.passes(padded(frame)), expected)
            << m_expression << "\n"
            << testing::PrintToString(frame) << "\n"
            << testing::PrintToString(packedFilter(*m_filter));
        (expected ? m_passed : m_rejected) += 1;
    }

    unsigned int passed() const { return m_passed; }
    unsigned int rejected() const { return m_rejected; }

private:
    Filter m_filter;
    std::string m_expression;
    Program m_program;
    unsigned int m_passed = 0;
    unsigned int m_rejected = 0;
};

class RandomFilters : public testing::TestWithParam<unsigned int>
{};

TEST_P(RandomFilters, AreSaidByTheirExpressions)
{
    RandomTraffic traffic(GetParam());
    std::vector<Bytes> frames;
    for (int i = 0; i < 500; ++i)
        frames.push_back(traffic.frame());

    unsigned int selective = 0;
    for (int i = 0; i < 1500 && !HasFailure(); ++i) {
        Comparison comparison(traffic.filter(), Optimiser::off);
        for (Bytes const & frame : frames)
            comparison.hold(frame);
        selective += comparison.passed() > 0 && comparison.rejected() > 0;
    }

    EXPECT_GT(selective, 700U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomFilters, testing::Values(20, 1000, 1001));

// A filter with which an optimiser was seen to err.
TEST(FilterExpression, SaysOneOrTheOtherButNotBoth)
{
    auto const udp = [] { return subprotocol(17); };
    auto const isFromA = [] { return from(macA); };
    Comparison comparison(no(any(no(any(udp(), isFromA())), all(isFromA(), udp()))), Optimiser::off);

    for (Host const & sender : {hostA, hostB})
        for (Bytes const & frame : {udpFrame(sender, hostC, 53, 53), tcpFrame(sender, hostC, 80, 80)})
            comparison.hold(frame);

    EXPECT_EQ(comparison.passed(), 2U);
    EXPECT_EQ(comparison.rejected(), 2U);
}

TEST(FilterExpression, SelectsWhatFiltersPassOfTheBundledCaptures)
{
    ketmon::CLoadedCapture capture;
    for (auto const & file : std::filesystem::directory_iterator(KETSTATS_CAPTURES))
        if (file.path().extension() == ".pcap" || file.path().extension() == ".pcapng")
            try {
                capture.load(file.path().string());
            } catch (std::exception const &) {
                // Some are bundled because they end early; the frames before count.
            }
    ASSERT_GT(capture.frames().size(), 1000U);

    // Of everything that the captures hold: their own addresses, protocols and ports.
    std::vector<Filter> filters;
    RandomTraffic choice(21);
    std::size_t at = 0;
    capture.overFrames([&](CNetworkFrame & frame) {
        if (++at % 1000 != 0)
            return;
        CMediaInfo const & media = *frame.AnalyzeFrame();
        CBoundedBytes const bytes(frame);
        unsigned int const header = media.networkOffset;
        auto const protocol = [&] { return std::make_unique<CProtocolFilter>(media.protocolId, "", false); };
        unsigned int address = 0;
        bytes.copy<4>(header + 12, reinterpret_cast<unsigned char *>(&address));
        filters.push_back(protocol());
        filters.push_back(no(protocol()));
        filters.push_back(
            any(from(std::string(media.sourceMAC).c_str()), to(std::string(media.sourceMAC).c_str())));
        filters.push_back(subprotocol(bytes[header + 9]));
        filters.push_back(all(protocol(), std::make_unique<CIPAddrFilter>(address, 12U, eoEqual, "", false)));
        for (unsigned int type = 0; type < 5; ++type)
            filters.push_back(
                port(bytes.word(header + 20), static_cast<CIPPortFilter::ePortType>(choice.below(5))));
    });

    constexpr unsigned int longest = 256; // more than any of them reads
    unsigned int passed = 0;
    for (Filter & filter : filters) {
        if (HasFailure())
            break;
        Comparison comparison(std::move(filter));
        capture.overFrames([&](CNetworkFrame const & frame) {
            comparison.hold(
                {frame.GetData(), frame.GetData() + std::min(longest, frame.GetCapturedLength())});
        });
        passed += comparison.passed() > 0;
    }
    EXPECT_GT(passed, 20U);
}

// The frame in every framing and depth, with the frames of many protocols.
TEST(FilterExpression, SelectsEveryProtocolIdInEveryFraming)
{
    for (unsigned int number :
         {0x0000U, 0x0001U, 0x0006U, 0x0042U, 0x00AAU, 0x00E0U, 0x00F0U, 0x00FEU, 0x00FFU,
          0x0100U, 0x05DCU, 0x05DDU, 0x05FFU, 0x0600U, 0x0800U, 0x0806U, 0x809BU, 0x80F3U,
          0x8035U, 0x8100U, 0x8137U, 0x86DDU, 0x88A8U, 0x9100U, 0xAAAAU, 0xFFFFU}) {
        Bytes const plain = ethernet(macB, macA, number) + bytes("45 00 00 28 00 00 00 00 40 06");
        Bytes llc = ethernet(macB, macA, 40) + bytes("00 AA 03 00 00 00 08 00");
        llc[14] = static_cast<unsigned char>(number);
        std::vector<Bytes> frames{plain,
                                  snap(plain),
                                  llc,
                                  ethernet(macB, macA, 0x05FF) + bytes("FF FF 00 22"),
                                  ethernet(macB, macA, 3) + bytes("AA AA 03"),
                                  ethernet(macB, macA, 3) + bytes("AA AA 00"),
                                  ethernet(macB, macA, 3) + bytes("FF 00 00")};
        for (std::size_t i = 0, count = frames.size(); i < 3 * count; ++i)
            frames.push_back(tagged(frames[i], 5, i % 2 ? 0x9100 : 0x88A8));

        Comparison comparison(protocol(number));
        Comparison opposite(no(protocol(number)));
        for (Bytes const & frame : frames)
            for (std::size_t length = 0; length <= frame.size(); ++length) {
                Bytes const cut(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length));
                comparison.hold(cut);
                opposite.hold(cut);
            }
        EXPECT_GT(comparison.passed(), 0U) << number;
        EXPECT_GT(opposite.passed(), 0U) << number;
    }
}

TEST(FilterExpression, SelectsIPInSNAPHeaders)
{
    Bytes frame = snap(tcpFrame(hostA, hostB, 80, 1025, 7));

    for (unsigned int tags = 0; tags <= 2; ++tags, frame = tagged(frame, 5)) {
        SCOPED_TRACE(tags);
        Filter const passing[] = {
            protocol(0x0800),
            subprotocol(6),
            address("10.0.0.10", 12),
            address("10.0.0.11", 16),
            port(80, CIPPortFilter::ptTCP),
            port(1025, CIPPortFilter::ptDestination),
            no(subprotocol(17)),
            any(all(from(macA), no(subprotocol(17))), all(from(macB), protocol(0x0806)))};
        for (Filter const & filter : passing) {
            EXPECT_TRUE(passes(filter, frame));
            EXPECT_TRUE(Program(filter->GetDescription()).passes(frame)) << filter->GetDescription();
        }
        Filter const rejecting[] = {subprotocol(17), address("10.0.0.11", 12), port(80, CIPPortFilter::ptUDP),
                                    no(subprotocol(6)), no(port(80, CIPPortFilter::ptSource))};
        for (Filter const & filter : rejecting) {
            EXPECT_FALSE(passes(filter, frame));
            EXPECT_FALSE(Program(filter->GetDescription()).passes(frame)) << filter->GetDescription();
        }
    }
}

// Of no header up to one more than an expression looks behind.
TEST(FilterExpression, SelectsWhatStandsBehindExtensionHeaders)
{
    std::vector<Bytes> frames;
    for (unsigned int headers = 0; headers <= 3; ++headers)
        for (Bytes const & packet : chainsOf(headers))
            frames.push_back(ethernet(macB, macA, 0x86DD) + packet);
    ASSERT_GT(frames.size(), 400U);

    for (Optimiser const optimiser : {Optimiser::off, Optimiser::on})
        for (Filter const & filter : filtersOfIPv6()) {
            Comparison comparison(Filter(filter->Clone()), optimiser);
            for (Bytes const & frame : frames)
                comparison.holdWhole(frame);
            if (HasFailure())
                return;
        }
}

// At every length, behind every number of tags, in SNAP headers too.
TEST(FilterExpression, SelectsWhatStandsBehindExtensionHeadersOfCutFrames)
{
    std::vector<Bytes> frames;
    for (unsigned int headers = 0; headers <= 2; ++headers) {
        std::vector<Bytes> const chains = chainsOf(headers);
        for (std::size_t i = 0; i < chains.size(); i += headers == 2 ? 7 : 3)
            for (bool inSNAP : {false, true}) {
                Bytes frame = ethernet(macB, macA, 0x86DD) + chains[i];
                if (inSNAP)
                    frame = snap(frame);
                for (unsigned int tags = 0; tags < i % 4; ++tags)
                    frame = tagged(frame, 5);
                frames.push_back(frame);
            }
    }
    for (Filter const & filter : filtersOfIPv6()) {
        Comparison comparison(Filter(filter->Clone()), Optimiser::off);
        for (Bytes const & frame : frames)
            for (std::size_t length = 0; length <= frame.size(); ++length)
                comparison.hold({frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length)});
        if (HasFailure())
            return;
    }
}

TEST(FilterExpression, SelectsVlansOfFramesWithAnyNumberOfTags)
{
    std::vector<Bytes> frames{tcpFrame(hostA, hostB, 80, 1025)};
    for (unsigned int tags = 0; tags < 4; ++tags)
        for (std::size_t i = 0, count = frames.size(); i < count; ++i)
            for (unsigned int tag : {5U, 0xE005U, 0U, 0x0FFFU})
                frames.push_back(tagged(frames[i], tag, i % 3 == 0 ? 0x8100 : i % 3 == 1 ? 0x88A8 : 0x9100));

    for (unsigned int identifier : {0U, 5U, 7U, 4095U})
        for (CVlanFilter::eTag tag : {CVlanFilter::vtOuter, CVlanFilter::vtInner})
            for (bool isPart : {false, true}) {
                Filter one = vlan(identifier, tag);
                if (isPart)
                    one = all(std::move(one), subprotocol(6));
                Comparison same(Filter(one->Clone()));
                Comparison opposite(no(std::move(one)));
                for (Bytes const & frame : frames) {
                    same.hold(frame);
                    opposite.hold(frame);
                }
                EXPECT_EQ(same.passed() > 0, identifier != 7);
                EXPECT_GT(opposite.passed(), 0U);
            }
}

// How many instructions libpcap makes of an expression.
unsigned int instructionsOf(std::string const & expression)
{
    return Program(expression).size();
}

// The kernel takes 4,096 instructions.
TEST(FilterExpression, OfRowsOfIPv6IsShortEnoughForTheKernel)
{
    constexpr unsigned int most = 4096;
    auto const ofRow = [](Filter filter) { return all(protocol(0x86DD), std::move(filter)); };
    EXPECT_LT(instructionsOf(ofRow(all(protocol6(6), port6(443, CIPPortFilter::ptTCP)))->GetDescription()),
              most / 2);
    EXPECT_LT(instructionsOf(ofRow(protocol6(6))->GetDescription()), most / 4);
    EXPECT_LT(instructionsOf(ofRow(all(protocol6(58), any(from(macA), to(macA))))->GetDescription()),
              most / 4);
}

TEST(FilterExpression, DiffersBehindMoreThanTwoExtensionHeaders)
{
    Bytes const chain = extension(60) + extension(60) + extension(6) + tcpHeader(80, 1025);
    Bytes const frame = ipv6Frame(v6A, v6B, 60, chain);

    EXPECT_TRUE(passes(protocol6(6), frame));
    EXPECT_FALSE(Program(protocol6(6)->GetDescription()).passes(frame));
    EXPECT_FALSE(passes(no(protocol6(6)), frame));
    EXPECT_TRUE(Program(no(protocol6(6))->GetDescription()).passes(frame));
    EXPECT_TRUE(passes(port6(80, CIPPortFilter::ptTCP), frame));
    EXPECT_FALSE(Program(port6(80, CIPPortFilter::ptTCP)->GetDescription()).passes(frame));
}

TEST(FilterExpression, DiffersBehindMoreThanTwoTags)
{
    Bytes const frame = tagged(tagged(tagged(tcpFrame(hostA, hostB, 80, 1025), 1), 2), 3);

    EXPECT_TRUE(passes(protocol(0x0800), frame));
    EXPECT_FALSE(Program(protocol(0x0800)->GetDescription()).passes(frame));
    EXPECT_FALSE(passes(no(protocol(0x0800)), frame));
    EXPECT_TRUE(Program(no(protocol(0x0800))->GetDescription()).passes(frame));
}

TEST(FilterExpression, DiffersWhereReadBytesAreMissing)
{
    Bytes const frame = ethernet(macB, macA, 0x0800);

    EXPECT_TRUE(passes(subprotocol(0), frame));
    EXPECT_FALSE(Program(subprotocol(0)->GetDescription()).passes(frame));
    EXPECT_TRUE(Program(subprotocol(0)->GetDescription()).passes(padded(frame)));
}

} // namespace
