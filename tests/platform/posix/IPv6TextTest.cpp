#include "ketstats/capture/Address.h"

#include "tests/support/Dice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include <arpa/inet.h>

// IPv6 addresses beside those that the system writes.

namespace {

std::string ofTheSystem(unsigned char const * address)
{
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(AF_INET6, address, text, sizeof text);
}

// An address that begins with twelve bytes of zero the system writes with dots, though it may be none of IPv4; but for
// those of the last group alone.
bool isCompatible(unsigned char const * address)
{
    return std::all_of(address, address + 12, [](unsigned char byte) { return byte == 0; }) &&
           (address[12] != 0 || address[13] != 0);
}

TEST(IPv6TextOfTheSystem, IsTheSameButForAddressesThatOnlyLookLikeThoseOfIPv4)
{
    test::Dice dice(2);
    unsigned int compatible = 0;
    unsigned int mapped = 0;
    for (unsigned int round = 0; round < 100000; ++round) {
        unsigned char address[16] = {};
        // Bytes, groups, or a long start of zeros.
        unsigned int const kind = dice.below(4);
        unsigned int const first = kind == 3 ? dice.below(16) : 0;
        for (unsigned int i = first; i < 16; ++i) {
            bool const zero =
                kind == 1 ? dice.oneIn(2) : kind == 2 && i % 2 == 1 && address[i - 1] == 0 && dice.oneIn(2);
            address[i] = zero ? 0 : static_cast<unsigned char>(dice.below(dice.oneIn(3) ? 2 : 256));
        }
        if (dice.oneIn(20)) {
            std::fill_n(address, 10, static_cast<unsigned char>(0));
            address[10] = address[11] = 0xFF;
            ++mapped;
        }
        if (isCompatible(address)) {
            ++compatible;
            ASSERT_NE(ofTheSystem(address).find('.'), std::string::npos);
            ASSERT_EQ(ipv6Text(address).find('.'), std::string::npos);
        } else {
            ASSERT_EQ(ipv6Text(address), ofTheSystem(address));
        }
    }
    EXPECT_GT(compatible, 100U);
    EXPECT_GT(mapped, 1000U);
}

} // namespace
