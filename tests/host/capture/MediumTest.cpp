#include "host/capture/Medium.h"

#include "host/capture/LinkType.h"
#include "host/capture/MediumFrame.h"
#include "tests/support/Bytes.h"
#include "tests/support/Frames.h"

#include "ketstats/ketstats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <utility>

using ketmon::CMedium;
using test::Bytes;
using test::bytes;

namespace linktype = ketmon::linktype;

namespace {

CMedium analysed(std::uint32_t linkType, Bytes const & frame)
{
    // Exactly as many bytes as there are, so that a read beyond them is seen by whatever checks memory.
    auto const exact = std::make_unique<unsigned char[]>(frame.size());
    std::copy(frame.begin(), frame.end(), exact.get());
    CMedium medium;
    ketmon::analyseMedium(linkType, CBoundedBytes(exact.get(), static_cast<unsigned int>(frame.size())),
                          medium);
    return medium;
}

unsigned int protocolOf(CMedium const & medium)
{
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(medium.protocolId.bytes[i], 0);
    return static_cast<unsigned int>(medium.protocolId.bytes[4] << 8 | medium.protocolId.bytes[5]);
}

// Protocol and place of the network header.
void expectPacket(std::uint32_t linkType, std::string const & frame, unsigned int protocol,
                  unsigned int offset)
{
    CMedium const medium = analysed(linkType, bytes(frame));
    EXPECT_EQ(protocolOf(medium), protocol) << frame;
    EXPECT_EQ(medium.networkOffset, offset) << frame;
    EXPECT_EQ(medium.GetOverhead(), 0) << frame;
    EXPECT_EQ(medium.cast, CMedium::Cast::unicast) << frame;
}

std::string const sender = "02 00 00 00 00 0a";

// Behind the packet type.
std::string cooked(std::string const & protocolAndPayload)
{
    return "00 00  00 01  00 06 " + sender + " 00 00 " + protocolAndPayload;
}

TEST(Medium, CookedFramesTellTheProtocolAndTheSender)
{
    CMedium const first = analysed(linktype::linuxSll, bytes(cooked("08 00 45")));
    CMedium const second =
        analysed(linktype::linuxSll2, bytes("86 dd 00 00 00 00 00 03 00 01 00 06 " + sender + " 00 00 60"));

    EXPECT_EQ(protocolOf(first), 0x0800U);
    EXPECT_EQ(first.networkOffset, 16U);
    EXPECT_EQ(std::string(first.sourceMAC), test::macA);
    EXPECT_EQ(first.destinationMAC, CMACAddr());
    EXPECT_EQ(protocolOf(second), 0x86DDU);
    EXPECT_EQ(second.networkOffset, 20U);
    EXPECT_EQ(std::string(second.sourceMAC), test::macA);
    EXPECT_EQ(second.GetOverhead(), 0);
}

// A tunnel has an address of IP there, or none.
TEST(Medium, OnlyAddressesOfSixBytesAreOnes)
{
    EXPECT_EQ(
        analysed(linktype::linuxSll, bytes("00 00 03 00 00 04 0a 00 00 01 00 00 00 00 08 00")).sourceMAC,
        CMACAddr());
    EXPECT_EQ(
        analysed(linktype::linuxSll, bytes("00 00 ff fe 00 00 01 02 03 04 05 06 00 00 08 00")).sourceMAC,
        CMACAddr());
    EXPECT_EQ(
        analysed(linktype::linuxSll2, bytes("08 00 00 00 00 00 00 03 ff fe 00 00 01 02 03 04 05 06 00 00"))
            .sourceMAC,
        CMACAddr());
}

TEST(Medium, ThePacketTypeTellsToWhomAFrameGoes)
{
    auto const castOf = [](unsigned char type) {
        Bytes first = bytes(cooked("08 00"));
        first[1] = type;
        Bytes second = bytes("08 00 00 00 00 00 00 03 00 01 00 06 " + sender + " 00 00");
        second[10] = type;
        CMedium const one = analysed(linktype::linuxSll, first);
        CMedium const other = analysed(linktype::linuxSll2, second);
        EXPECT_EQ(one.cast, other.cast);
        return std::pair(one.IsBroadcast(), one.IsMulticast());
    };

    EXPECT_EQ(castOf(0), std::pair(false, false)) << "to this machine";
    EXPECT_EQ(castOf(1), std::pair(true, false));
    EXPECT_EQ(castOf(2), std::pair(false, true));
    EXPECT_EQ(castOf(3), std::pair(false, false)) << "to another machine";
    EXPECT_EQ(castOf(4), std::pair(false, false)) << "from this machine, to nobody knows whom";
}

TEST(Medium, CookedFramesHaveTagsAndLengthsAsEthernetHas)
{
    std::uint32_t const type = linktype::linuxSll;
    expectPacket(type, cooked("81 00 00 05 08 00 45"), 0x0800, 20);
    expectPacket(type, cooked("88 a8 00 05 81 00 00 06 86 dd 60"), 0x86DD, 24);
    expectPacket(type, cooked("00 01 ff ff 00 30"), 0x8137, 16);
    expectPacket(type, cooked("00 04 42 42 03"), 0x42, 19);
    expectPacket(type, cooked("00 04 aa aa 03 00 00 0c 20 00 02"), 0x2000, 24);
    expectPacket(type, cooked("00 04 ff ff 00 30"), 0x8137, 16);
    expectPacket(type, cooked("81 00 00 05 00 04 42 42 03"), 0x42, 23);
    expectPacket(type, cooked("81 00 00 05 00 26 42 42 03"), 0x42, 23);
    expectPacket(type, cooked("00 0c 01"), 0, 16);
    expectPacket(linktype::linuxSll2,
                 "81 00 00 00 00 00 00 03 00 01 00 06 " + sender + " 00 00 00 05 08 00 45", 0x0800, 24);
}

// Netlink has its family there, radio headers nothing.
TEST(Medium, SomeHardwareHasNoProtocolInItsPlace)
{
    expectPacket(linktype::linuxSll, "00 00 03 38 00 00 00 00 00 00 00 00 00 00 00 04 42 42 03", 0, 16);
    expectPacket(linktype::linuxSll, "00 00 03 23 00 06 " + sender + " 00 00 08 00", 0, 16);
    expectPacket(linktype::linuxSll2, "00 04 00 00 00 00 00 03 03 38 00 00 00 00 00 00 00 00 00 00 42", 0,
                 20);
}

TEST(Medium, LoopbacksTellTheFamilyInEitherOrder)
{
    for (std::uint32_t const type : {linktype::null, linktype::loop}) {
        expectPacket(type, "02 00 00 00 45", 0x0800, 4);
        expectPacket(type, "00 00 00 02 45", 0x0800, 4);
        for (char const * const family : {"18", "1c", "1e"}) {
            expectPacket(type, std::string(family) + " 00 00 00 60", 0x86DD, 4);
            expectPacket(type, std::string("00 00 00 ") + family + " 60", 0x86DD, 4);
        }
        expectPacket(type, "07 00 00 00 45", 0, 4);
        expectPacket(type, "00 02 00 00 45", 0, 4);
        expectPacket(type, "00 00 02 00 45", 0, 4);
        expectPacket(type, "02 00 00 02 45", 0, 4);
        expectPacket(type, "00 00 00 00 45", 0, 4);
    }
}

TEST(Medium, PppTellsItsProtocolWithAndWithoutFraming)
{
    for (std::uint32_t const type : {linktype::ppp, linktype::pppHdlc}) {
        expectPacket(type, "ff 03 00 21 45", 0x0800, 4);
        expectPacket(type, "ff 03 00 57 60", 0x86DD, 4);
        expectPacket(type, "00 21 45", 0x0800, 2);
        expectPacket(type, "00 57 60", 0x86DD, 2);
        expectPacket(type, "ff 03 21 45", 0x0800, 3);
        expectPacket(type, "57 60", 0x86DD, 1);
        expectPacket(type, "ff 03 c0 21 01", 0, 4);
        expectPacket(type, "80 21 01", 0, 2);
        expectPacket(type, "0f 00 08 00 45", 0, 1);
    }
}

TEST(Medium, RawPacketsTellTheirVersionAndOthersHaveOne)
{
    expectPacket(linktype::raw, "45 00", 0x0800, 0);
    expectPacket(linktype::raw, "60 00", 0x86DD, 0);
    expectPacket(linktype::raw, "50 00", 0, 0);
    expectPacket(linktype::ipv4, "60 00", 0x0800, 0);
    expectPacket(linktype::ipv6, "45 00", 0x86DD, 0);
}

// What isn't there reads as zero: a cut frame is the frame filled up with zeros.
TEST(Medium, OfACutHeaderTheRestIsZeroWhateverIsMissing)
{
    std::pair<std::uint32_t, std::string> const frames[] = {
        {linktype::linuxSll, cooked("88 a8 00 05 81 00 00 06 00 04 aa aa 03 00 00 0c 20 00 02")},
        {linktype::linuxSll, cooked("00 04 aa aa 03 00 00 0c 20 00 02")},
        {linktype::linuxSll2, "81 00 00 00 00 00 00 03 00 01 01 06 " + sender + " 00 00 00 05 08 00 45"},
        {linktype::null, "1e 00 00 00 60"},
        {linktype::loop, "00 00 00 02 45"},
        {linktype::ppp, "ff 03 00 21 45"},
        {linktype::pppHdlc, "ff 03 21 45"},
        {linktype::raw, "45 00"},
        {linktype::ipv4, "45 00"},
        {linktype::ipv6, "60 00"},
    };
    for (auto const & [type, text] : frames) {
        Bytes const whole = bytes(text);
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            CMedium const found = analysed(type, cut);
            cut.resize(64);
            CMedium const filled = analysed(type, cut);

            EXPECT_EQ(found.protocolId, filled.protocolId) << text << ", cut at " << length;
            EXPECT_EQ(found.networkOffset, filled.networkOffset) << text << ", cut at " << length;
            EXPECT_EQ(found.sourceMAC, filled.sourceMAC) << text << ", cut at " << length;
            EXPECT_EQ(found.cast, filled.cast) << text << ", cut at " << length;
        }
    }
}

// The same of bytes that nobody made up, most of which mean something to some medium.
TEST(Medium, WhateverTheBytesAreAnalysisGoesByThemAlone)
{
    constexpr unsigned char usual[] = {0x00, 0x01, 0x02, 0x04, 0x06, 0x08,
                                       0x21, 0x45, 0x60, 0x81, 0xAA, 0xFF};
    for (unsigned int seed = 0; seed < 20000; ++seed) {
        std::mt19937 random(seed);
        Bytes frame(random() % 48);
        for (unsigned char & byte : frame)
            byte = random() % 8 == 0 ? static_cast<unsigned char>(random()) : usual[random() % sizeof usual];
        for (std::uint32_t const type :
             {linktype::linuxSll, linktype::linuxSll2, linktype::null, linktype::loop, linktype::ppp,
              linktype::raw, linktype::ipv4, linktype::ipv6}) {
            CMedium const found = analysed(type, frame);
            Bytes filled = frame;
            filled.resize(frame.size() + 16);
            CMedium const same = analysed(type, filled);

            ASSERT_EQ(found.protocolId, same.protocolId) << "seed " << seed << ", link type " << type;
            ASSERT_EQ(found.networkOffset, same.networkOffset) << "seed " << seed << ", link type " << type;
            ASSERT_EQ(found.cast, same.cast) << "seed " << seed << ", link type " << type;
            ASSERT_LE(found.networkOffset, frame.size() + 40) << "seed " << seed << ", link type " << type;
        }
    }
}

// Tags without an end are followed as far as there are bytes.
TEST(Medium, TagsEndWithTheFrame)
{
    std::string tags = "81 00";
    for (unsigned int i = 0; i < 1000; ++i)
        tags += " 00 05 81 00";
    EXPECT_EQ(protocolOf(analysed(linktype::linuxSll, bytes(cooked(tags)))), 0U);
}

TEST(Medium, AFrameIsAnalysedAnewWhenItIsGivenOthersBytes)
{
    Bytes const raw = bytes("45 00");
    Bytes const other = bytes("60 00");
    Bytes const ethernet = test::ipFrame(test::hostA, test::hostB, 6);
    ketmon::CMediumFrame frame({raw.data(), 2, 2, 0, linktype::raw});

    EXPECT_EQ(frame.AnalyzeFrame()->GetProtocolId().bytes[4], 0x08);
    frame.assign({other.data(), 2, 2, 0, linktype::raw});
    EXPECT_EQ(frame.AnalyzeFrame()->GetProtocolId().bytes[4], 0x86);
    frame.assign({ethernet.data(), 34, 34, 0, linktype::ethernet});
    EXPECT_EQ(std::string(frame.AnalyzeFrame()->sourceMAC), test::macA);
    EXPECT_EQ(frame.AnalyzeFrame()->GetOverhead(), 4);
}

TEST(Medium, FiltersLookAtAFrameAsItsMediumHasIt)
{
    Bytes const ethernet = test::udpFrame(test::hostA, test::hostB, 1000, 53);
    Bytes const packet(ethernet.begin() + 14, ethernet.end());
    ketmon::CMediumFrame const raw(
        {packet.data(), static_cast<unsigned int>(packet.size()), 100, 0, linktype::raw});

    EXPECT_TRUE(CIPPortFilter(53, CIPPortFilter::ptUDP, eoEqual, "", false).IsSatisfied(&raw));
    EXPECT_FALSE(CIPPortFilter(54, CIPPortFilter::ptUDP, eoEqual, "", false).IsSatisfied(&raw));
    EXPECT_TRUE(CIPSubprotocolFilter(17, "", false).IsSatisfied(&raw));
}

TEST(LinkType, HasNamesForPeopleAndForPrograms)
{
    EXPECT_EQ(ketmon::linkTypeText(113), "LINUX_SLL (113)");
    EXPECT_EQ(ketmon::linkTypeText(4711), "unknown (4711)");
    std::pair<std::uint32_t, char const *> const keys[] = {
        {1, "ethernet"}, {113, "linux_sll"}, {276, "linux_sll2"}, {0, "null"}, {108, "loop"},
        {101, "raw"},    {228, "ipv4"},      {229, "ipv6"},       {9, "ppp"},  {50, "ppp_hdlc"},
    };
    for (auto const & [number, key] : keys) {
        EXPECT_EQ(ketmon::linkTypeKey(number), key);
        EXPECT_TRUE(ketmon::isCountable(number)) << key;
    }
    for (std::uint32_t const number : {2U, 6U, 105U, 127U, 220U, 65536U + 1U})
        EXPECT_FALSE(ketmon::isCountable(number)) << number;
}

} // namespace
