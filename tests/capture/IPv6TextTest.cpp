#include "ketstats/capture/Address.h"

#include "tests/support/Bytes.h"
#include "tests/support/Dice.h"
#include "tests/support/IPv6Frames.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

// IPv6 addresses as RFC 5952 writes them.

using test::Bytes;

namespace {

using Groups = std::array<unsigned int, 8>;

std::string textOf(Groups const & groups)
{
    Bytes bytes;
    for (unsigned int const group : groups) {
        bytes.push_back(static_cast<unsigned char>(group >> 8));
        bytes.push_back(static_cast<unsigned char>(group));
    }
    return ipv6Text(bytes.data());
}

// A text as its section 4 has it, found by trying all that could be left out.
std::string tried(Groups const & groups)
{
    auto const joined = [&](std::size_t from, std::size_t to) {
        std::string text;
        for (std::size_t i = from; i < to; ++i) {
            char digits[8];
            std::snprintf(digits, sizeof digits, "%s%x", i == from ? "" : ":", groups[i]);
            text += digits;
        }
        return text;
    };
    auto const isZero = [&](std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to; ++i)
            if (groups[i] != 0)
                return false;
        return true;
    };
    for (std::size_t length = 8; length >= 2; --length)
        for (std::size_t from = 0; from + length <= 8; ++from)
            if (isZero(from, from + length))
                return joined(0, from) + "::" + joined(from + length, 8);
    return joined(0, 8);
}

TEST(IPv6Text, LeavesOutLeadingZerosAndIsOfLowerCase)
{
    EXPECT_EQ(textOf({0x2001, 0xDB8, 0x0A, 0x1, 0xFEDC, 0xBA98, 0x0765, 0xF}),
              "2001:db8:a:1:fedc:ba98:765:f");
    EXPECT_EQ(textOf({1, 2, 3, 4, 5, 6, 7, 8}), "1:2:3:4:5:6:7:8");
    EXPECT_EQ(textOf({0xFFFF, 0x1000, 0x100, 0x10, 0x1, 0xF000, 0x0F00, 0x00F0}),
              "ffff:1000:100:10:1:f000:f00:f0");
}

TEST(IPv6Text, ShortensAsMuchAsItCan)
{
    EXPECT_EQ(textOf({0, 0, 0, 0, 0, 0, 0, 0}), "::");
    EXPECT_EQ(textOf({0, 0, 0, 0, 0, 0, 0, 1}), "::1");
    EXPECT_EQ(textOf({1, 0, 0, 0, 0, 0, 0, 0}), "1::");
    EXPECT_EQ(textOf({0x2001, 0xDB8, 0, 0, 0, 0, 2, 1}), "2001:db8::2:1");
    EXPECT_EQ(textOf({0, 0, 3, 4, 5, 6, 7, 8}), "::3:4:5:6:7:8");
    EXPECT_EQ(textOf({1, 2, 3, 4, 5, 6, 0, 0}), "1:2:3:4:5:6::");
}

TEST(IPv6Text, LeavesASingleGroupOfZeroAsItIs)
{
    EXPECT_EQ(textOf({0x2001, 0xDB8, 0, 1, 1, 1, 1, 1}), "2001:db8:0:1:1:1:1:1");
    EXPECT_EQ(textOf({0, 1, 1, 1, 1, 1, 1, 1}), "0:1:1:1:1:1:1:1");
    EXPECT_EQ(textOf({1, 1, 1, 1, 1, 1, 1, 0}), "1:1:1:1:1:1:1:0");
    EXPECT_EQ(textOf({0, 1, 0, 1, 0, 1, 0, 1}), "0:1:0:1:0:1:0:1");
}

TEST(IPv6Text, ShortensTheLongestRunAndOfEqualOnesTheFirst)
{
    EXPECT_EQ(textOf({0x2001, 0, 0, 1, 0, 0, 0, 1}), "2001:0:0:1::1");
    EXPECT_EQ(textOf({0x2001, 0, 0, 0, 1, 0, 0, 1}), "2001::1:0:0:1");
    EXPECT_EQ(textOf({0x2001, 0xDB8, 0, 0, 1, 0, 0, 1}), "2001:db8::1:0:0:1");
    EXPECT_EQ(textOf({0, 0, 1, 0, 0, 1, 0, 0}), "::1:0:0:1:0:0");
    EXPECT_EQ(textOf({0, 0, 1, 0, 0, 0, 0, 0}), "0:0:1::");
    EXPECT_EQ(textOf({0, 0, 0, 1, 1, 0, 0, 0}), "::1:1:0:0:0");
}

// Of the addresses with one of IPv4 in them those are written with dots that nothing else can be; ::192.0.2.1 could be
// an address of few digits, and ::1 is one.
TEST(IPv6Text, WritesMappedAddressesOfIPv4WithDots)
{
    EXPECT_EQ(textOf({0, 0, 0, 0, 0, 0xFFFF, 0xC000, 0x0201}), "::ffff:192.0.2.1");
    EXPECT_EQ(textOf({0, 0, 0, 0, 0, 0xFFFF, 0, 0}), "::ffff:0.0.0.0");
    EXPECT_EQ(textOf({0, 0, 0, 0, 0, 0xFFFF, 0xFFFF, 0xFFFF}), "::ffff:255.255.255.255");
    EXPECT_EQ(textOf({0, 0, 0, 0, 0, 0, 0xC000, 0x0201}), "::c000:201");
    EXPECT_EQ(textOf({0, 0, 0, 0, 0xFFFF, 0, 0xC000, 0x0201}), "::ffff:0:c000:201");
    EXPECT_EQ(textOf({0x64, 0xFF9B, 0, 0, 0, 0, 0xC000, 0x0221}), "64:ff9b::c000:221");
    EXPECT_EQ(textOf({0, 0, 0, 0, 0, 0xFFFE, 0xC000, 0x0201}), "::fffe:c000:201");
    EXPECT_EQ(textOf({1, 0, 0, 0, 0, 0xFFFF, 0xC000, 0x0201}), "1::ffff:c000:201");
}

// Groups that are zero in every way there is, the others long and short; and it reads back as what it was.
TEST(IPv6Text, IsTheOneThatTheRulesLeave)
{
    test::Dice dice(1);
    for (unsigned int round = 0; round < 40; ++round)
        for (unsigned int zeros = 0; zeros < 256; ++zeros) {
            Groups groups{};
            for (std::size_t i = 0; i < groups.size(); ++i)
                if ((zeros >> i & 1) == 0)
                    groups[i] = 1 + dice.below(dice.oneIn(2) ? 15 : 0xFFFF);
            std::string const text = textOf(groups);
            bool const isMapped = text.find('.') != text.npos;
            ASSERT_EQ(isMapped, (zeros & 0x3F) == 0x1F && groups[5] == 0xFFFF);
            if (isMapped)
                continue;
            ASSERT_EQ(text, tried(groups));
            Bytes const read = test::ipv6Bytes(text);
            ASSERT_EQ(ipv6Text(read.data()), text);
            for (std::size_t i = 0; i < groups.size(); ++i)
                ASSERT_EQ(static_cast<unsigned int>(read[2 * i]) << 8 | read[2 * i + 1], groups[i]) << text;
        }
}

} // namespace
