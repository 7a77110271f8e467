#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

using namespace KetStats;
using test::Bytes;

// Keys as tables hold them: each byte tells keys apart, and moves them to another place in the index.

namespace {

template <class K>
class KeyBits : public testing::Test
{};
using Keys = testing::Types<CIPAddress, CMACAddrPacked, CProtocolIdPacked, CIPConnectionStat::CKey,
                            CMACConnectionStat::CKey, CIPv6Address, CIPv6ConnectionStat::CKey>;

struct KeyNames
{
    template <class K>
    static std::string GetName(int number)
    {
        return "OfKey" + std::to_string(number) + "With" + std::to_string(sizeof(K)) + "Bytes";
    }
};
TYPED_TEST_SUITE(KeyBits, Keys, KeyNames);

TYPED_TEST(KeyBits, AreTheKey)
{
    test::Random random(1);
    for (int round = 0; round < 100; ++round) {
        Bytes content(sizeof(TypeParam));
        for (unsigned char & byte : content)
            byte = static_cast<unsigned char>(random.any());
        auto const key = test::keyFrom<TypeParam>(content);

        CKeyBits<TypeParam> const bits(key);

        ASSERT_EQ(test::keyBytes(bits.key()), content);
        ASSERT_TRUE(bits == CKeyBits<TypeParam>(bits.key()));
        ASSERT_EQ(bits.mix(indexFactors()), CKeyBits<TypeParam>(key).mix(indexFactors()));
    }
}

TYPED_TEST(KeyBits, DifferInEachBit)
{
    Bytes const content(sizeof(TypeParam), 0x5A);
    CKeyBits<TypeParam> const bits(test::keyFrom<TypeParam>(content));
    for (std::size_t at = 0; at < content.size(); ++at)
        for (unsigned int bit = 0; bit < 8; ++bit) {
            Bytes changed = content;
            changed[at] = static_cast<unsigned char>(changed[at] ^ 1U << bit);
            CKeyBits<TypeParam> const other(test::keyFrom<TypeParam>(changed));

            ASSERT_FALSE(other == bits) << "byte " << at;
            ASSERT_NE(other.mix(indexFactors()), bits.mix(indexFactors())) << "byte " << at;
        }
}

template <class K>
void expectToSpread()
{
    for (std::size_t left = 0; left < sizeof(K); ++left)
        for (std::size_t const right : {left + 1, left + sizeof(K) / 2, sizeof(K) - 1}) {
            if (right <= left || right >= sizeof(K))
                continue;
            std::vector<unsigned int> places(1U << 16);
            for (unsigned int number = 0; number < 1U << 16; ++number) {
                Bytes content(sizeof(K), 0x5A);
                content[left] = static_cast<unsigned char>(number >> 8);
                content[right] = static_cast<unsigned char>(number);
                ++places[CKeyBits<K>(test::keyFrom<K>(content)).mix(indexFactors()) >> 48];
            }

            auto const used =
                std::count_if(places.begin(), places.end(), [](unsigned int keys) { return keys > 0; });
            ASSERT_GT(used, 1 << 15) << "bytes " << left << " and " << right;
            ASSERT_LT(*std::max_element(places.begin(), places.end()), 30U)
                << "bytes " << left << " and " << right;
        }
}

// Hosts of one network, which differ in any two bytes of their addresses, have places of their own: the upper bits of
// what keys are mixed to. By chance two thirds of the places are taken.
TEST(LongKeys, SpreadThoughTheyDifferInTwoBytesAlone)
{
    expectToSpread<CIPv6Address>();
    expectToSpread<CIPv6ConnectionStat::CKey>();
}

// What the tests of crowded tables rely on.
TEST(CrowdedKeys, AreInOnePlaceWhateverTheFactorsOfTheProcess)
{
    std::set<Bytes> keys;
    for (unsigned int number = 0; number < 1000; ++number) {
        auto const address = test::crowdedKey<CIPv6Address>(number);
        auto const pair = test::crowdedKey<CIPv6ConnectionStat::CKey>(number);
        EXPECT_EQ(CKeyBits<CIPv6Address>(address).mix(indexFactors()), 0U);
        EXPECT_EQ(CKeyBits<CIPv6ConnectionStat::CKey>(pair).mix(indexFactors()), 0U);
        keys.insert(test::keyBytes(address));
        keys.insert(test::keyBytes(pair));
    }
    EXPECT_EQ(keys.size(), 2000U);
}

} // namespace
