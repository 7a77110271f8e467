#include "host/live/FrameOddities.h"

#include "tests/support/Frames.h"

#include <gtest/gtest.h>

using namespace test;
using ketmon::CFrameOddities;

namespace {

constexpr std::size_t flags = 14 + 6; // of the IPv4 header behind an Ethernet one

Bytes fragment(unsigned char high, unsigned char low)
{
    Bytes frame = ipFrame(hostA, hostB, 17, Bytes(8));
    frame[flags] = high;
    frame[flags + 1] = low;
    return frame;
}

ketmon::CCapturedFrame viewOf(CNetworkFrame const & frame)
{
    return {frame.GetData(), frame.GetCapturedLength(), static_cast<unsigned int>(frame.GetLength()), 0};
}

ketmon::COddFigures oddities(CNetworkFrame const & frame)
{
    CFrameOddities all;
    all.count(viewOf(frame));
    return all.figures();
}

ketmon::COddFigures oddities(Bytes const & bytes)
{
    Frame frame(bytes);
    return oddities(frame);
}

TEST(FrameOddities, AFragmentHasAnOffsetOrMoreBehindIt)
{
    EXPECT_EQ(oddities(fragment(0x00, 0x00)).fragments, 0U);
    EXPECT_EQ(oddities(fragment(0x40, 0x00)).fragments, 0U) << "must not be fragmented";
    EXPECT_EQ(oddities(fragment(0x80, 0x00)).fragments, 0U) << "reserved";
    EXPECT_EQ(oddities(fragment(0x20, 0x00)).fragments, 1U) << "the first one";
    EXPECT_EQ(oddities(fragment(0x20, 0xB9)).fragments, 1U);
    EXPECT_EQ(oddities(fragment(0x01, 0x00)).fragments, 1U) << "the last one";
    EXPECT_EQ(oddities(fragment(0x00, 0x01)).fragments, 1U);
}

TEST(FrameOddities, OnlyIPv4HasFragmentsAndOnlyItsHeaderTells)
{
    Bytes other = fragment(0x20, 0x00);
    other[13] = 0x06;
    EXPECT_EQ(oddities(other).fragments, 0U);

    Bytes cut = fragment(0x20, 0x00);
    cut.resize(flags + 1);
    EXPECT_EQ(oddities(cut).fragments, 0U);
}

TEST(FrameOddities, FragmentsAreSeenBehindTagsAndInSnapToo)
{
    for (Bytes const & inner : {fragment(0x20, 0x00), fragment(0x00, 0x00)}) {
        bool const isFragment = inner[flags] != 0;
        EXPECT_EQ(oddities(test::tagged(inner, 7)).fragments, isFragment ? 1U : 0U);
        EXPECT_EQ(oddities(test::tagged(test::tagged(inner, 7), 8, 0x88A8)).fragments, isFragment ? 1U : 0U);
        EXPECT_EQ(oddities(test::snap(inner)).fragments, isFragment ? 1U : 0U);
    }
}

TEST(FrameOddities, AFrameIsCutThatWasLongerOnTheWire)
{
    Frame whole(Bytes(60), 60);
    Frame cut(Bytes(60), 61);
    Frame more(Bytes(60), 50);

    EXPECT_EQ(oddities(whole).cut, 0U);
    EXPECT_EQ(oddities(cut).cut, 1U);
    EXPECT_EQ(oddities(more).cut, 0U);
}

TEST(FrameOddities, TaggedFramesMayBeLonger)
{
    auto const overlong = [](unsigned int length, unsigned int type) {
        Frame frame = plainFrame(macA, macB, length, type);
        return oddities(frame).overlong;
    };

    EXPECT_EQ(overlong(1514, 0x0800), 0U);
    EXPECT_EQ(overlong(1515, 0x0800), 1U);
    EXPECT_EQ(overlong(1522, 0x8100), 0U);
    EXPECT_EQ(overlong(1523, 0x8100), 1U);
}

TEST(FrameOddities, TellsFramesWithoutAHeaderAndTheLongest)
{
    CFrameOddities all;
    for (unsigned int const length : {13U, 14U, 2000U, 60U}) {
        Frame frame(Bytes(std::min(length, 100U)), length);
        all.count(viewOf(frame));
    }

    EXPECT_EQ(all.figures().headless, 1U);
    EXPECT_EQ(all.figures().longest, 2004U) << "with the check sequence";
    EXPECT_EQ(CFrameOddities().figures().longest, std::nullopt) << "of no frame";
}

TEST(FrameOddities, OfOtherMediaAreByTheirOwnHeaders)
{
    Bytes const ethernet = fragment(0x20, 0x00);
    Bytes packet(ethernet.begin() + 14, ethernet.end());
    packet.resize(4000);
    auto const of = [&](Bytes const & bytes, std::uint32_t linkType) {
        CFrameOddities all;
        all.count({bytes.data(), static_cast<unsigned int>(bytes.size()),
                   static_cast<unsigned int>(bytes.size()), 0, linkType});
        return all.figures();
    };

    ketmon::COddFigures const raw = of(packet, ketmon::linktype::raw);
    EXPECT_EQ(raw.fragments, 1U);
    EXPECT_EQ(raw.overlong, std::nullopt) << "nothing is usual";
    EXPECT_EQ(raw.longest, 4000U) << "there is no frame check sequence";
    EXPECT_EQ(raw.headless, 0U);

    EXPECT_EQ(of(bytes("02 00 00 00") + packet, ketmon::linktype::null).fragments, 1U);
    EXPECT_EQ(of(Bytes(15), ketmon::linktype::linuxSll).headless, 1U);
    EXPECT_EQ(of(Bytes(16), ketmon::linktype::linuxSll).headless, 0U);
}

} // namespace
