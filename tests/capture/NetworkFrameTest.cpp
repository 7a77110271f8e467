#include "ketstats/capture/NetworkFrame.h"

#include "tests/support/Bytes.h"
#include "tests/support/Frames.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

using test::broadcastMac;
using test::Bytes;
using test::bytes;
using test::ethernet;
using test::Frame;
using test::macA;
using test::macB;
using test::multicastMac;
using test::operator+;

namespace {

struct Analysis
{
    unsigned int format;
    unsigned int offset;
    Bytes protocol;
    Bytes tag;

    friend bool operator==(Analysis const &, Analysis const &) = default;
    friend std::ostream & operator<<(std::ostream & out, Analysis const & a)
    {
        out << "format " << a.format << ", offset " << a.offset << ", protocol "
            << testing::PrintToString(a.protocol) << ", tag " << testing::PrintToString(a.tag);
        return out;
    }
};

Analysis analysisOf(CNetworkFrame & frame)
{
    auto const & media = dynamic_cast<CEthernetInfo const &>(*frame.AnalyzeFrame());
    auto const & id = media.GetProtocolId().bytes;
    return {media.frameFormat, media.networkOffset, Bytes(id.begin(), id.end()),
            Bytes(media.vlanTag, media.vlanTag + 2)};
}

Analysis analysed(Bytes const & data)
{
    Frame frame(data);
    return analysisOf(frame);
}

Bytes const noTag = bytes("00 00");

TEST(NetworkFrame, ReadsEthernet2)
{
    EXPECT_EQ(analysed(ethernet(macA, macB, 0x0800) + bytes("45")),
              (Analysis{1, 14, bytes("00 00 00 00 08 00"), noTag}));
    EXPECT_EQ(analysed(ethernet(macA, macB, 0x0600)), (Analysis{1, 14, bytes("00 00 00 00 06 00"), noTag}));
}

TEST(NetworkFrame, ReadsAddressesInWireOrder)
{
    Frame frame(ethernet("00-11-22-33-44-55", "66-77-88-99-AA-BB", 0x0800));
    CMediaInfo const & media = *frame.AnalyzeFrame();

    EXPECT_EQ(static_cast<std::string>(media.destinationMAC), "00-11-22-33-44-55");
    EXPECT_EQ(static_cast<std::string>(media.sourceMAC), "66-77-88-99-AA-BB");
}

TEST(NetworkFrame, Reads8023Payloads)
{
    Bytes const front = ethernet(macA, macB, 0x05FF);

    EXPECT_EQ(analysed(front + bytes("FF FF 00 22")), (Analysis{2, 14, bytes("00 00 00 00 81 37"), noTag}))
        << "IPX";
    EXPECT_EQ(analysed(front + bytes("AA AA 03 00 00 0C 20 00")),
              (Analysis{4, 22, bytes("00 00 00 00 20 00"), noTag}))
        << "SNAP";
    EXPECT_EQ(analysed(front + bytes("42 42 03")), (Analysis{3, 17, bytes("00 00 00 00 00 42"), noTag}))
        << "LLC";
    EXPECT_EQ(analysed(front + bytes("AA AA 00 00 00 00 08 00")),
              (Analysis{3, 17, bytes("00 00 00 00 00 AA"), noTag}))
        << "SNAP needs its control byte";
}

TEST(NetworkFrame, ReadsBehindTags)
{
    Bytes const front = ethernet(macA, macB, 0x8100);

    EXPECT_EQ(analysed(front + bytes("20 64 08 00")),
              (Analysis{6, 18, bytes("00 00 00 00 08 00"), bytes("20 64")}));
    EXPECT_EQ(analysed(front + bytes("00 01 00 26 42 42 03")),
              (Analysis{7, 21, bytes("00 00 00 00 00 42"), bytes("00 01")}));
    EXPECT_EQ(analysed(front + bytes("00 01 00 26 FF FF")),
              (Analysis{7, 18, bytes("00 00 00 00 81 37"), bytes("00 01")}));
    EXPECT_EQ(analysed(front + bytes("00 01 00 26 AA AA 03 00 00 00 08 06")),
              (Analysis{7, 26, bytes("00 00 00 00 08 06"), bytes("00 01")}));
}

TEST(NetworkFrame, KeepsTheOutermostOfStackedTags)
{
    EXPECT_EQ(analysed(ethernet(macA, macB, 0x88A8) + bytes("00 05 81 00 00 06 91 00 00 07 08 00")),
              (Analysis{6, 26, bytes("00 00 00 00 08 00"), bytes("00 05")}));
}

TEST(NetworkFrame, TagAtTheEndOfTheCapturedBytesReadsAsAnEmpty8023Frame)
{
    EXPECT_EQ(analysed(ethernet(macA, macB, 0x8100) + bytes("00 05")),
              (Analysis{7, 21, bytes("00 00 00 00 00 00"), bytes("00 05")}));
    EXPECT_EQ(analysed(ethernet(macA, macB, 0x8100)), (Analysis{7, 21, bytes("00 00 00 00 00 00"), noTag}));
}

TEST(NetworkFrame, TellsBroadcastMulticastAndUnicastApart)
{
    Frame broadcast(ethernet(broadcastMac, macA, 0x0800));
    Frame multicast(ethernet(multicastMac, macA, 0x0800));
    Frame unicast(ethernet(macB, macA, 0x0800));

    EXPECT_TRUE(broadcast.AnalyzeFrame()->IsBroadcast());
    EXPECT_TRUE(broadcast.AnalyzeFrame()->IsMulticast());
    EXPECT_FALSE(multicast.AnalyzeFrame()->IsBroadcast());
    EXPECT_TRUE(multicast.AnalyzeFrame()->IsMulticast());
    EXPECT_FALSE(unicast.AnalyzeFrame()->IsBroadcast());
    EXPECT_FALSE(unicast.AnalyzeFrame()->IsMulticast());
    EXPECT_EQ(unicast.AnalyzeFrame()->GetOverhead(), 4);
}

TEST(NetworkFrame, MissingBytesReadAsZero)
{
    CNetworkFrame nothing(nullptr, 0, 60);
    EXPECT_EQ(analysisOf(nothing), (Analysis{3, 17, bytes("00 00 00 00 00 00"), noTag}));
    EXPECT_EQ(static_cast<std::string>(nothing.AnalyzeFrame()->sourceMAC), "00-00-00-00-00-00");
    EXPECT_EQ(nothing.GetLength(), 60);

    Bytes const data = ethernet(macA, macB, 0x0800);
    CNetworkFrame cut(data.data(), 13, 60);
    EXPECT_EQ(analysisOf(cut), (Analysis{1, 14, bytes("00 00 00 00 08 00"), noTag}));
    CNetworkFrame shorter(data.data(), 8, 60);
    EXPECT_EQ(static_cast<std::string>(shorter.AnalyzeFrame()->sourceMAC), "02-00-00-00-00-00");
}

TEST(NetworkFrame, AnalysisIsRepeatableAndFollowsAssign)
{
    Bytes const first = ethernet(macA, macB, 0x8100) + bytes("00 05 08 00");
    Bytes const second = ethernet(macB, macA, 0x0806);
    CNetworkFrame frame(first.data(), 18, 64);
    CMediaInfo * const media = frame.AnalyzeFrame();
    EXPECT_EQ(frame.AnalyzeFrame(), media);

    frame.Assign(second.data(), 14, 70);

    EXPECT_EQ(analysisOf(frame), (Analysis{1, 14, bytes("00 00 00 00 08 06"), noTag}))
        << "no tag is left over";
    EXPECT_EQ(frame.GetLength(), 70);
    EXPECT_EQ(frame.GetData(), second.data());
}

// Whatever lies in a frame, an analysis of its first n bytes equals that of the n bytes followed by zeros,
// and reads none beyond them: each prefix stands in a block of its own size for the address sanitizer.
TEST(NetworkFrame, ReadsNothingBeyondTheCapturedBytes)
{
    std::mt19937 random(7);
    unsigned int const types[] = {0x8100, 0x88A8, 0x9100, 0x0800, 0x0026, 0x0000};
    for (int round = 0; round < 400; ++round) {
        Bytes data = ethernet(macA, macB, types[random() % 6]);
        for (int word = 0; word < 8; ++word) {
            unsigned int const value =
                random() % 2 ? types[random() % 6] : static_cast<unsigned int>(random());
            data = data + Bytes{static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
        }
        if (random() % 3 == 0)
            data = data + bytes("AA AA 03 00 00 00 08 00");
        for (std::size_t length = 0; length <= data.size(); ++length) {
            std::unique_ptr<unsigned char[]> const exact(new unsigned char[length]);
            std::copy_n(data.begin(), length, exact.get());
            Bytes padded(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(length));
            padded.resize(200);

            CNetworkFrame cut(exact.get(), static_cast<unsigned int>(length), 60);
            ASSERT_EQ(analysisOf(cut), analysed(padded)) << "captured " << length;
        }
    }
}

TEST(ProtocolId, HoldsItsValueRightAligned)
{
    CProtocolId id;
    EXPECT_EQ(Bytes(id.bytes.begin(), id.bytes.end()), bytes("00 00 00 00 00 00"));
    id.Set(2, bytes("08 00").data());
    EXPECT_EQ(Bytes(id.bytes.begin(), id.bytes.end()), bytes("00 00 00 00 08 00"));
    id.Set(1, bytes("11").data());
    EXPECT_EQ(Bytes(id.bytes.begin(), id.bytes.end()), bytes("00 00 00 00 00 11"));
    id.Set(8, bytes("01 02 03 04 05 06 07 08").data());
    EXPECT_EQ(Bytes(id.bytes.begin(), id.bytes.end()), bytes("03 04 05 06 07 08"));
    id.Reset();
    EXPECT_EQ(id, CProtocolId());
}

TEST(Address, TextReadsBack)
{
    CMACAddr address(bytes("00 11 22 AA BB CC").data());
    std::string const text = address;
    EXPECT_EQ(text, "00-11-22-AA-BB-CC");

    CMACAddr back;
    LoadHexString(text.c_str(), back.bytes.data(), 6);
    EXPECT_EQ(back, address);
}

TEST(Address, HexTextIsRightAligned)
{
    Bytes target(6, 0xEE);
    LoadHexString("0800", target.data(), 6);
    EXPECT_EQ(target, bytes("00 00 00 00 08 00"));
    LoadHexString("00:11:22:aa:bb:cc", target.data(), 6);
    EXPECT_EQ(target, bytes("00 11 22 aa bb cc"));
    LoadHexString("", target.data(), 6);
    EXPECT_EQ(target, bytes("00 00 00 00 00 00"));
    LoadHexString("123", target.data(), 6);
    EXPECT_EQ(target, bytes("00 00 00 00 01 23"));
    LoadHexString("0102030405060708", target.data(), 6);
    EXPECT_EQ(target, bytes("03 04 05 06 07 08"));
    LoadHexString("12 34", target.data(), 6);
    EXPECT_EQ(target, bytes("00 00 00 00 00 12")) << "reading stops at a character of another kind";
}

TEST(Address, ReversesAnyLength)
{
    Bytes target(4);
    CRevAddr<6>::Reverse(bytes("00 00 00 50").data(), target.data(), 4);
    EXPECT_EQ(target, bytes("50 00 00 00"));
    CRevAddr<2>::Reverse(bytes("01 02").data(), target.data(), 2);
    EXPECT_EQ(target, bytes("02 01 00 00"));
}

// A frame that keeps its bytes in two pieces, and shows them as one.
class PiecedFrame : public CNetworkFrame
{
public:
    PiecedFrame(Bytes front, Bytes back) { show(std::move(front), std::move(back)); }

    void show(Bytes front, Bytes back)
    {
        m_bytes = std::move(front) + std::move(back);
        Assign(nullptr, 0, 0);
    }

    unsigned char const * GetData() const override { return m_bytes.data(); }
    int GetLength() const override { return 1000; }
    unsigned int GetCapturedLength() const override { return static_cast<unsigned int>(m_bytes.size()); }

private:
    Bytes m_bytes;
};

TEST(NetworkFrame, AnalysesWhatAClassOfAHostsGives)
{
    PiecedFrame frame(ethernet(macB, macA, 0x0800), bytes("45 00"));

    EXPECT_EQ(analysisOf(frame), (Analysis{1, 14, bytes("00 00 00 00 08 00"), bytes("00 00")}));
    EXPECT_EQ(std::string(frame.AnalyzeFrame()->sourceMAC), macA);

    frame.show(ethernet(macA, macB, 0x0806), {});

    EXPECT_EQ(analysisOf(frame), (Analysis{1, 14, bytes("00 00 00 00 08 06"), bytes("00 00")}));
    EXPECT_EQ(std::string(frame.AnalyzeFrame()->sourceMAC), macB);
}

} // namespace
