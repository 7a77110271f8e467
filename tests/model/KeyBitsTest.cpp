#include "tests/support/Rows.h"

#include <gtest/gtest.h>

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

// What the tests of crowded tables rely on.
TEST(CrowdedKeys, AreInOnePlaceWhateverTheFactorsOfTheProcess)
{
    std::set<Bytes> keys;
    for (unsigned int number = 0; number < 1000; ++number) {
        auto const address = test::crowdedKey<CIPv6Address>(number);
        auto const pair = test::crowdedKey<CIPv6ConnectionStat::CKey>(number);
        EXPECT_EQ(CKeyBits<CIPv6Address>(address).mix(indexFactors()), 0x0123456789ABCDEFU);
        EXPECT_EQ(CKeyBits<CIPv6ConnectionStat::CKey>(pair).mix(indexFactors()), 0x0123456789ABCDEFU);
        keys.insert(test::keyBytes(address));
        keys.insert(test::keyBytes(pair));
    }
    EXPECT_EQ(keys.size(), 2000U);
}

} // namespace
