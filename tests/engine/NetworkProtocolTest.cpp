#include "ketstats/engine/NetworkProtocol.h"

#include "tests/support/Allocations.h"
#include "tests/support/Frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

using namespace KetStats;
using test::Bytes;
using test::bytes;
using test::Frame;
using test::hostA;
using test::hostB;
using test::id;
using test::ip;
using test::mac;
using test::macA;
using test::macB;
using test::operator+;

namespace {

// The first bytes of a frame, in a block of exactly their size, so that a read behind them is noticed.
class CutFrame : public CNetworkFrame
{
public:
    CutFrame(Bytes const & whole, std::size_t captured) : m_block(new unsigned char[captured])
    {
        std::copy_n(whole.begin(), captured, m_block.get());
        Assign(m_block.get(), static_cast<unsigned int>(captured), static_cast<unsigned int>(whole.size()));
    }

private:
    std::unique_ptr<unsigned char[]> m_block;
};

std::string text(unsigned char const * field, std::size_t count)
{
    return hexString(field, static_cast<int>(count));
}
std::string text(CProtocolId const & field)
{
    return text(field.bytes.data(), 6);
}
std::string text(CIPAddress const & field)
{
    return text(reinterpret_cast<unsigned char const *>(&field), 4);
}

// A port as a number.
int numberOf(CProtocolId const & port)
{
    return port.bytes[4] * 256 + port.bytes[5];
}

std::string const none = "no";

// What the decoders make of a frame, as text.
std::string decodedIP(CNetworkFrame & frame, CMediaInfo * media = nullptr)
{
    CIPProtocol protocol(&frame, media);
    if (!protocol.analyze())
        return none;
    EXPECT_EQ(protocol.getSrcPort(), numberOf(protocol.getSrcPortId()));
    EXPECT_EQ(protocol.getDstPort(), numberOf(protocol.getDstPortId()));
    return text(protocol.getSourceAddress()) + " to " + text(protocol.getDestinationAddress()) + ", " +
           text(protocol.getSubprotocolId()) + ", " + text(protocol.getSrcPortId()) + " to " +
           text(protocol.getDstPortId());
}

std::string decodedARP(CNetworkFrame & frame, CMediaInfo * media = nullptr)
{
    CARPProtocol protocol(&frame, media);
    if (!protocol.analyze())
        return none;
    return text(protocol.getProtocolType()) + ", " + std::to_string(protocol.getOpcode()) + ", " +
           text(protocol.getSenderIP()) + " at " + static_cast<std::string>(protocol.getSenderMAC()) + ", " +
           text(protocol.getTargetIP()) + " at " + static_cast<std::string>(protocol.getTargetMAC());
}

// The same, read plainly from the captured bytes with zeros behind them.
class Reader
{
public:
    Reader(Bytes const & whole, std::size_t captured) : m_bytes(whole.data(), whole.data() + captured)
    {
        m_bytes.resize(captured + 2000);
        CNetworkFrame frame(m_bytes.data(), static_cast<unsigned int>(m_bytes.size()), 0);
        CMediaInfo const & media = *frame.AnalyzeFrame();
        m_header = m_bytes.data() + media.networkOffset;
        m_protocol = text(media.GetProtocolId());
    }

    std::string asIP() const
    {
        if (m_protocol != "00-00-00-00-08-00")
            return none;
        std::size_t const transport = (m_header[0] % 16U) * 4U;
        return text(m_header + 12, 4) + " to " + text(m_header + 16, 4) + ", 00-00-00-00-00-" +
               text(m_header + 9, 1) + ", 00-00-00-00-" + text(m_header + transport, 2) + " to 00-00-00-00-" +
               text(m_header + transport + 2, 2);
    }

    std::string asARP() const
    {
        if (m_protocol != "00-00-00-00-08-06")
            return none;
        std::size_t const hlen = m_header[4];
        std::size_t const plen = m_header[5];
        return "00-00-00-00-" + text(m_header + 2, 2) + ", " +
               std::to_string(m_header[6] * 256 + m_header[7]) + ", " + text(m_header + 8 + hlen, 4) +
               " at " + text(m_header + 8, 6) + ", " + text(m_header + 8 + 2 * hlen + plen, 4) + " at " +
               text(m_header + 8 + hlen + plen, 6);
    }

private:
    Bytes m_bytes;
    unsigned char const * m_header;
    std::string m_protocol;
};

// A frame whose every byte behind the Ethernet header tells its place.
Bytes numbered(unsigned int type, std::size_t count)
{
    Bytes frame = test::ethernet(macB, macA, type);
    for (std::size_t i = 0; i < count; ++i)
        frame.push_back(static_cast<unsigned char>(i * 7 + 1));
    return frame;
}

TEST(NetworkProtocol, KnowsItsIds)
{
    EXPECT_EQ(text(CNetworkProtocol::ipId()), "00-00-00-00-08-00");
    EXPECT_EQ(text(CNetworkProtocol::arpId()), "00-00-00-00-08-06");
    EXPECT_EQ(text(CNetworkProtocol::tcpId()), "00-00-00-00-00-06");
    EXPECT_EQ(text(CNetworkProtocol::udpId()), "00-00-00-00-00-11");
    EXPECT_EQ(CIPProtocol(nullptr).getProtocolId(), CNetworkProtocol::ipId());
    EXPECT_EQ(CARPProtocol(nullptr).getProtocolId(), CNetworkProtocol::arpId());
}

TEST(NetworkProtocol, WithoutAFrameIsNone)
{
    CEthernetInfo media;
    media.protocolId = CNetworkProtocol::ipId();
    EXPECT_FALSE(CIPProtocol(nullptr, nullptr).analyze());
    EXPECT_FALSE(CIPProtocol(nullptr, &media).analyze());
    EXPECT_FALSE(CARPProtocol(nullptr, nullptr).analyze());
}

TEST(NetworkProtocol, AccessorsAnswerWithNothingBeforeTheAnalysis)
{
    Frame frame(test::tcpFrame(hostA, hostB, 80, 81));
    CIPProtocol const protocol(&frame, frame.AnalyzeFrame());
    EXPECT_EQ(protocol.getSourceAddress(), CIPAddress(0));
    EXPECT_EQ(protocol.getDestinationAddress(), CIPAddress(0));
    EXPECT_EQ(protocol.getSubprotocolId(), CProtocolId());
    EXPECT_EQ(protocol.getSrcPortId(), CProtocolId());
    EXPECT_EQ(protocol.getDstPortId(), CProtocolId());
    EXPECT_EQ(protocol.getSrcPort(), 0);
    EXPECT_EQ(protocol.getDstPort(), 0);

    Frame reply(test::arpReply(hostA, hostB));
    CARPProtocol const arp(&reply, reply.AnalyzeFrame());
    EXPECT_EQ(arp.getProtocolType(), CProtocolId());
    EXPECT_EQ(arp.getOpcode(), 0U);
    EXPECT_EQ(arp.getSenderIP(), CIPAddress(0));
    EXPECT_EQ(arp.getTargetIP(), CIPAddress(0));
    EXPECT_EQ(arp.getSenderMAC(), CMACAddr());
    EXPECT_EQ(arp.getTargetMAC(), CMACAddr());
}

TEST(NetworkProtocol, OfAnotherProtocolIsNone)
{
    Frame frame(test::tcpFrame(hostA, hostB, 80, 81));
    CARPProtocol arp(&frame, frame.AnalyzeFrame());
    EXPECT_FALSE(arp.analyze());
    EXPECT_EQ(arp.getOpcode(), 0U) << "and there is no header to read";
    EXPECT_EQ(arp.getSenderMAC(), CMACAddr());

    Frame request(test::arpRequest(hostA, hostB));
    CIPProtocol notIP(&request, request.AnalyzeFrame());
    EXPECT_FALSE(notIP.analyze());
    EXPECT_EQ(notIP.getSubprotocolId(), CProtocolId());

    // One byte of the id is another one.
    CEthernetInfo media = *dynamic_cast<CEthernetInfo *>(frame.AnalyzeFrame());
    media.protocolId.bytes[0] = 1;
    EXPECT_EQ(decodedIP(frame, &media), none);
}

// Counts how often it is analysed, and can be without a result.
class CountingFrame : public Frame
{
public:
    using Frame::Frame;
    CMediaInfo * AnalyzeFrame() override
    {
        ++analyses;
        return fails ? nullptr : Frame::AnalyzeFrame();
    }

    int analyses = 0;
    bool fails = false;
};

TEST(NetworkProtocol, AnalysesTheFrameIfItWasGivenNoMedia)
{
    CountingFrame frame(test::tcpFrame(hostA, hostB, 80, 81));

    EXPECT_NE(decodedIP(frame), none);
    EXPECT_EQ(frame.analyses, 1);

    frame.fails = true;
    EXPECT_EQ(decodedIP(frame), none) << "an analysis without a result";
}

TEST(NetworkProtocol, BelievesTheMediaItWasGiven)
{
    CountingFrame frame(bytes("99 99") + numbered(0x88B5, 60));
    CMediaInfo media; // of no Ethernet
    media.protocolId = CNetworkProtocol::ipId();
    media.networkOffset = 16;

    EXPECT_EQ(decodedIP(frame, &media).substr(0, 26), "55-5C-63-6A to 71-78-7F-86");
    EXPECT_EQ(frame.analyses, 0);
}

// A protocol of a test's own, which knows no header.
class Experimental : public CNetworkProtocol
{
public:
    explicit Experimental(CNetworkFrame * ofFrame) : CNetworkProtocol(ofFrame), m_id(id(0x88B5)) {}
    CProtocolId const & getProtocolId() const override { return m_id; }
    bool hasHeader() const { return header != nullptr; }

private:
    CProtocolId m_id;
};

TEST(NetworkProtocol, CanBeDerivedFrom)
{
    Frame frame(numbered(0x88B5, 10));
    Frame other(numbered(0x88B6, 10));
    Experimental protocol(&frame);

    EXPECT_TRUE(protocol.analyze());
    EXPECT_FALSE(protocol.hasHeader()) << "the test alone finds no header";
    EXPECT_FALSE(Experimental(&other).analyze());
}

TEST(IPProtocol, ReadsAddressesSubprotocolAndPorts)
{
    Frame frame(test::udpFrame(hostA, hostB, 53, 0x1234));
    CIPProtocol protocol(&frame, frame.AnalyzeFrame());

    ASSERT_TRUE(protocol.analyze());
    EXPECT_EQ(protocol.getSourceAddress(), ip(hostA.ip));
    EXPECT_EQ(protocol.getDestinationAddress(), ip(hostB.ip));
    EXPECT_EQ(protocol.getSubprotocolId(), id(17));
    EXPECT_EQ(protocol.getSrcPortId(), id(53));
    EXPECT_EQ(protocol.getDstPortId(), id(0x1234));
    EXPECT_EQ(protocol.getSrcPort(), 53);
    EXPECT_EQ(protocol.getDstPort(), 0x1234);
}

TEST(IPProtocol, FindsTheHeaderBehindTagsAndSnap)
{
    Bytes const plain = test::tcpFrame(hostA, hostB, 80, 3000);
    Frame untagged(plain);
    std::string const expected = decodedIP(untagged);
    ASSERT_EQ(expected,
              "0A-00-00-0A to 0A-00-00-0B, 00-00-00-00-00-06, 00-00-00-00-00-50 to 00-00-00-00-0B-B8");

    for (Bytes const & data : {test::tagged(plain, 42), test::tagged(test::tagged(plain, 42), 43, 0x88A8),
                               test::snap(plain), test::tagged(test::snap(plain), 42)}) {
        Frame frame(data);
        EXPECT_EQ(decodedIP(frame), expected);
    }
}

TEST(IPProtocol, HeaderLengthScalesThePlaceOfThePorts)
{
    for (unsigned int words = 0; words < 16; ++words) {
        Bytes data = numbered(0x0800, 80);
        data[14] = static_cast<unsigned char>(0x60 | words);
        CutFrame frame(data, data.size());

        EXPECT_EQ(decodedIP(frame), Reader(data, data.size()).asIP()) << words;
        CIPProtocol protocol(&frame, frame.AnalyzeFrame());
        ASSERT_TRUE(protocol.analyze()) << "the version isn't looked at";
        unsigned int const at = 14 + words * 4;
        EXPECT_EQ(protocol.getSrcPortId(), id(data[at] * 256U + data[at + 1])) << words;
        EXPECT_EQ(protocol.getDstPortId(), id(data[at + 2] * 256U + data[at + 3])) << words;
    }
}

TEST(IPProtocol, ReadsZerosBehindTheCapturedBytes)
{
    Bytes const plain = numbered(0x0800, 80);
    for (Bytes whole : {plain, test::tagged(plain, 7), test::snap(plain), test::tagged(test::snap(plain), 7)})
        for (unsigned int words : {0U, 1U, 4U, 5U, 6U, 15U}) {
            whole[whole.size() - 80] = static_cast<unsigned char>(0x40 | words);
            for (std::size_t captured = 0; captured <= whole.size(); ++captured) {
                CutFrame frame(whole, captured);
                ASSERT_EQ(decodedIP(frame), Reader(whole, captured).asIP())
                    << captured << " of " << whole.size() << " bytes, " << words << " words";
            }
        }
}

TEST(IPProtocol, ReadsZerosIfThereAreNoBytesAtAll)
{
    CNetworkFrame frame(nullptr, 0, 60);
    CMediaInfo media;
    media.protocolId = CNetworkProtocol::ipId();
    std::string const zeros = "00-00-00-00 to 00-00-00-00, 00-00-00-00-00-00, 00-00-00-00-00-00 to "
                              "00-00-00-00-00-00";

    EXPECT_EQ(decodedIP(frame, &media), zeros);
    for (unsigned int const offset : {14U, 0x7FFFFFFFU, 0xFFFFFFF0U, 0xFFFFFFFFU}) {
        media.networkOffset = offset;
        EXPECT_EQ(decodedIP(frame, &media), zeros) << offset;
        CutFrame small(numbered(0x0800, 0), 14);
        EXPECT_EQ(decodedIP(small, &media), zeros) << offset;
    }
}

TEST(ARPProtocol, ReadsBothEnds)
{
    Frame frame(test::arpReply(hostA, hostB));
    CARPProtocol arp(&frame, frame.AnalyzeFrame());

    ASSERT_TRUE(arp.analyze());
    EXPECT_EQ(arp.getProtocolType(), CNetworkProtocol::ipId());
    EXPECT_EQ(arp.getOpcode(), 2U);
    EXPECT_EQ(CMACAddrPacked(arp.getSenderMAC()), mac(hostA.mac));
    EXPECT_EQ(arp.getSenderIP(), ip(hostA.ip));
    EXPECT_EQ(CMACAddrPacked(arp.getTargetMAC()), mac(hostB.mac));
    EXPECT_EQ(arp.getTargetIP(), ip(hostB.ip));
}

TEST(ARPProtocol, OpcodeIsBigEndian)
{
    Frame frame(test::arpFrame(0x1234, hostA, hostB, macB));
    CARPProtocol arp(&frame, frame.AnalyzeFrame());
    ASSERT_TRUE(arp.analyze());
    EXPECT_EQ(arp.getOpcode(), 0x1234U);
}

TEST(ARPProtocol, HonoursTheLengthsOfTheAddresses)
{
    Bytes data = numbered(0x0806, 800);
    for (unsigned int hlen = 0; hlen < 256; ++hlen)
        for (unsigned int plen = 0; plen < 256; plen += hlen % 16 == 6 ? 1 : 15) {
            data[18] = static_cast<unsigned char>(hlen);
            data[19] = static_cast<unsigned char>(plen);
            CNetworkFrame frame(data.data(), static_cast<unsigned int>(data.size()), 60);
            ASSERT_EQ(decodedARP(frame), Reader(data, data.size()).asARP()) << hlen << ' ' << plen;
        }
}

TEST(ARPProtocol, ReadsZerosBehindTheCapturedBytes)
{
    Bytes const plain = numbered(0x0806, 300);
    for (Bytes whole : {plain, test::tagged(plain, 7), test::snap(plain)})
        for (auto const & [hlen, plen] : {std::pair(6, 4), {0, 0}, {1, 0}, {16, 16}, {127, 1}, {255, 255}}) {
            whole[whole.size() - 296] = static_cast<unsigned char>(hlen);
            whole[whole.size() - 295] = static_cast<unsigned char>(plen);
            for (std::size_t captured = 0; captured <= whole.size(); ++captured) {
                CutFrame frame(whole, captured);
                ASSERT_EQ(decodedARP(frame), Reader(whole, captured).asARP())
                    << captured << " of " << whole.size() << " bytes, hlen " << hlen << ", plen " << plen;
            }
        }
}

TEST(NetworkProtocol, ReadsNoByteOutsideOfRandomFrames)
{
    for (unsigned int seed = 1; seed <= 20; ++seed) {
        std::mt19937 random(seed);
        for (int i = 0; i < 200; ++i) {
            Bytes whole = test::ethernet(macB, macA, random() % 2 ? 0x0800 : 0x0806);
            std::size_t const size = random() % 120;
            for (std::size_t n = 0; n < size; ++n)
                whole.push_back(static_cast<unsigned char>(random()));
            CutFrame frame(whole, random() % (whole.size() + 1));
            Reader const reader(whole, frame.GetCapturedLength());
            ASSERT_EQ(decodedIP(frame), reader.asIP()) << "seed " << seed << ", frame " << i;
            ASSERT_EQ(decodedARP(frame), reader.asARP()) << "seed " << seed << ", frame " << i;
        }
    }
}

TEST(NetworkProtocol, AllocatesNothing)
{
    Frame tcp(test::tcpFrame(hostA, hostB, 80, 81));
    Frame arp(test::arpReply(hostA, hostB));
    static_cast<void>(decodedIP(tcp) + decodedARP(arp)); // the ids are there now

    test::Allocations const allocations;
    CIPProtocol ipProtocol(&tcp);
    CARPProtocol arpProtocol(&arp);
    bool const analysed = ipProtocol.analyze() && arpProtocol.analyze();
    CProtocolId const port = ipProtocol.getSrcPortId();
    CMACAddr const sender = arpProtocol.getSenderMAC();
    EXPECT_EQ(allocations.count(), 0);
    EXPECT_TRUE(analysed);
    EXPECT_EQ(port, id(80));
    EXPECT_EQ(CMACAddrPacked(sender), mac(hostA.mac));
}

} // namespace
