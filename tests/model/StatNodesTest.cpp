#include "ketstats/model/StatTypes.h"
#include "ketstats/text/StatDescription.h"

#include "tests/support/Bytes.h"
#include "tests/support/Groups.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

using namespace KetStats;
using ktools::CMemoryBuffer;
using test::bytes;
using test::contents;
using test::raisedBy;

namespace {

CIntegerStatDescription<unsigned int> const counterDescription(1129, 1195);
CNumericStatDescription<percentVal> const percentDescription(1131, 1198);
CStringStatDescription const textDescription("Text");
CMACAddressStatDescription const macDescription("Address");

using Counter = CValueStat<unsigned int>;
using Percent = CValueStat<percentVal>;

CBaseStat & node(CBaseStat & stat)
{
    return stat;
}

TEST(ValueStat, StartsAtZeroAndChanged)
{
    Counter const stat(nullptr, 3, counterDescription);

    EXPECT_EQ(static_cast<unsigned int>(stat), 0U);
    EXPECT_TRUE(stat.checkChanged());
    EXPECT_EQ(stat.getId(), 3);
    EXPECT_EQ(stat.getDescription(), &counterDescription);
    EXPECT_EQ(stat.getParent(), nullptr);
}

TEST(ValueStat, CompareAssignOfTheNodeDecidesTheFlagAfresh)
{
    Counter stat(nullptr, 1, counterDescription);
    Counter same(nullptr, 1, counterDescription);

    EXPECT_FALSE(node(stat).compareAssign(same));
    EXPECT_FALSE(stat.checkChanged());

    same = 7U;
    EXPECT_TRUE(node(stat).compareAssign(same));
    EXPECT_TRUE(stat.checkChanged());
    EXPECT_EQ(stat.get(), 7U);
}

TEST(ValueStat, CompareAssignOfTheValueCanOnlyRaiseTheFlag)
{
    Counter stat(nullptr, 1, counterDescription);
    stat = 7U;

    EXPECT_FALSE(stat.compareAssign(7U));
    EXPECT_TRUE(stat.checkChanged()) << "left as it was";

    stat.resetChanged();
    EXPECT_FALSE(stat.compareAssign(7U));
    EXPECT_FALSE(stat.checkChanged());
    EXPECT_TRUE(stat.compareAssign(8U));
    EXPECT_TRUE(stat.checkChanged());
    EXPECT_EQ(stat.get(), 8U);
}

TEST(ValueStat, PercentagesDifferOnlyAcrossAHundredth)
{
    Percent stat(nullptr, 1, percentDescription);
    stat = percentVal(12.341);
    stat.resetChanged();

    EXPECT_FALSE(stat.compareAssign(percentVal(12.349)));
    EXPECT_EQ(static_cast<double>(stat.get()), 12.341);
    EXPECT_FALSE(stat.checkChanged());
    EXPECT_TRUE(stat.compareAssign(percentVal(12.351)));
    EXPECT_EQ(static_cast<double>(stat.get()), 12.351);
}

TEST(ValueStat, CollateOrdersNumbersWhereCompareOrdersBytes)
{
    Counter two(nullptr, 1, counterDescription);
    Counter many(nullptr, 1, counterDescription);
    two = 2U;
    many = 256U;

    EXPECT_EQ(two.collate(many), -1);
    EXPECT_EQ(many.collate(two), 1);
    EXPECT_EQ(two.collate(two), 0);
    EXPECT_EQ(node(many).compare(two), -1) << "00 01 00 00 before 02 00 00 00";
    EXPECT_EQ(node(two).compare(many), 1);
    EXPECT_EQ(node(two).compare(two), 0);
}

TEST(ValueStat, CollateKnowsTheSignOfItsType)
{
    CIntegerStatDescription<long long> const description(1130, 1169);
    CValueStat<long long> negative(nullptr, 1, description);
    CValueStat<long long> positive(nullptr, 1, description);
    negative = -1LL;
    positive = 1LL;

    EXPECT_EQ(negative.collate(positive), -1);
    EXPECT_EQ(positive.collate(negative), 1);
}

TEST(ValueStat, UnorderedPercentagesCollateAsBefore)
{
    Percent unordered(nullptr, 1, percentDescription);
    Percent one(nullptr, 1, percentDescription);
    unordered = percentVal(std::numeric_limits<double>::quiet_NaN());
    one = percentVal(1.0);

    EXPECT_EQ(unordered.collate(one), -1);
    EXPECT_EQ(one.collate(unordered), -1);
    EXPECT_EQ(one.collate(one), 0);
}

TEST(ValueStat, AddressesCollateByTheirBytes)
{
    CValueStat<CMACAddrPacked> low(nullptr, 1, macDescription);
    CValueStat<CMACAddrPacked> high(nullptr, 1, macDescription);
    CMACAddr address;
    LoadHexString("00-11-22-33-44-7F", address.bytes.data(), 6);
    low = CMACAddrPacked(address);
    LoadHexString("00-11-22-33-44-80", address.bytes.data(), 6);
    high = CMACAddrPacked(address);

    EXPECT_EQ(low.collate(high), -1);
    EXPECT_EQ(high.collate(low), 1);
    EXPECT_TRUE(low.compareAssign(high.get()));
    EXPECT_EQ(low.collate(high), 0);

    CIPAddressStatDescription const ipDescription("IP");
    CValueStat<CIPAddress> first(nullptr, 1, ipDescription);
    CValueStat<CIPAddress> second(nullptr, 1, ipDescription);
    first = CIPAddress(0x04030201);  // 1.2.3.4
    second = CIPAddress(0x00000002); // 2.0.0.0
    EXPECT_EQ(first.collate(second), -1);
}

TEST(ValueStat, AssignOfTheNodeRaisesTheFlagAndThatOfTheLeafDoesNot)
{
    Counter stat(nullptr, 1, counterDescription);
    Counter source(nullptr, 1, counterDescription);
    source = 5U;
    stat.resetChanged();

    static_cast<CBaseValueStat &>(stat).assign(source);
    EXPECT_EQ(stat.get(), 5U);
    EXPECT_FALSE(stat.checkChanged());

    source = 6U;
    node(stat).assign(source);
    EXPECT_EQ(stat.get(), 6U);
    EXPECT_TRUE(stat.checkChanged());
}

TEST(ValueStat, StoringAndResettingLeaveTheFlag)
{
    Counter stat(nullptr, 1, counterDescription);
    stat.resetChanged();

    stat = 5U;
    EXPECT_FALSE(stat.checkChanged());
    node(stat).reset();
    EXPECT_EQ(stat.get(), 0U);
    EXPECT_FALSE(stat.checkChanged());

    stat.setChanged();
    node(stat).reset();
    EXPECT_TRUE(stat.checkChanged());
}

TEST(ValueStat, AddingCountsWithoutAnOverflowTestAndRaisesTheFlag)
{
    Counter frames(nullptr, 1, counterDescription);
    frames = 0xFFFFFFFFU;
    frames.resetChanged();
    frames.add(2);
    EXPECT_EQ(frames.get(), 1U);
    EXPECT_TRUE(frames.checkChanged());

    CIntegerStatDescription<long long> const description(1130, 1169);
    CValueStat<long long> data(nullptr, 1, description);
    data = std::numeric_limits<long long>::max();
    data.add(1);
    EXPECT_EQ(data.get(), std::numeric_limits<long long>::min());
}

TEST(ValueStat, PackOfChangedLowersTheFlagAndUnpackRaisesIt)
{
    Counter stat(nullptr, 1, counterDescription);
    stat = 0x01020304U;
    CMemoryBuffer buffer;

    node(stat).packValue(buffer, false);
    EXPECT_TRUE(stat.checkChanged());
    node(stat).packValue(buffer, true);
    EXPECT_FALSE(stat.checkChanged());
    EXPECT_EQ(contents(buffer), bytes("04 03 02 01  04 03 02 01"));

    stat = 0U;
    node(stat).unpackValue(buffer);
    EXPECT_EQ(stat.get(), 0x01020304U);
    EXPECT_TRUE(stat.checkChanged());
}

TEST(ValueStat, ShortBufferLeavesValueAndFlag)
{
    Counter stat(nullptr, 1, counterDescription);
    stat = 9U;
    stat.resetChanged();
    CMemoryBuffer buffer(bytes("01 02 03").data(), 3);

    EXPECT_EQ(raisedBy<CMemoryBuffer::CException>([&] { node(stat).unpackValue(buffer); }).line, 184);
    EXPECT_EQ(stat.get(), 9U);
    EXPECT_FALSE(stat.checkChanged());
    EXPECT_EQ(buffer.readPosition, 0);
}

TEST(ValueStat, DefaultAndCopiedNodesAreDetached)
{
    test::Root root;
    root.number = 5U;
    Counter const copy(root.number);
    Counter const fresh;

    for (Counter const * const detached : {&copy, &fresh}) {
        EXPECT_EQ(detached->getDescription(), nullptr);
        EXPECT_EQ(detached->getParent(), nullptr);
        EXPECT_EQ(detached->getId(), 1);
        EXPECT_TRUE(detached->checkChanged());
        EXPECT_EQ(detached->getOid().toString(), "1") << "a depth of 1";
        EXPECT_EQ(detached->get(), 0U) << "nothing is copied";
    }
}

TEST(ValueStat, HasNoChildren)
{
    Counter stat(nullptr, 1, counterDescription);

    EXPECT_EQ(stat.getChildrenCount(), 0U);
    EXPECT_EQ(node(stat).getChild(0), nullptr);
    EXPECT_EQ(stat.getChildById(1), nullptr);
}

TEST(BaseStat, KnowsItsPlaceInTheTree)
{
    test::Root root;
    root.number.resetId(7);

    EXPECT_EQ(root.number.getOid().toString(), "1.7");
    EXPECT_EQ(root.getOid().toString(), "1");
    EXPECT_EQ(root.number.getParent(), &root);
    EXPECT_EQ(root.getChildById(7), &root.number);
    EXPECT_EQ(root.getChildById(1), nullptr);
}

TEST(BaseStat, LeafEndsTheWalkOfAnIdentifier)
{
    test::Root root;

    EXPECT_EQ(node(root.number).getStatPointer(COid("1.1"), 2), &root.number);
    EXPECT_EQ(node(root.number).getStatPointer(COid("1.1.1"), 2), nullptr);
}

TEST(BaseStat, ReadsItsValueThroughItsDescription)
{
    test::Root root;
    root.number = 4000000000U;
    root.text = "label";

    EXPECT_TRUE(root.number.isNumeric());
    EXPECT_EQ(root.number.getNumeric(), 4000000000.0);
    EXPECT_FALSE(root.number.isString());
    EXPECT_TRUE(root.text.isString());
    EXPECT_EQ(root.text.getString(), "label");
    EXPECT_FALSE(root.text.isNumeric());
}

class StringStat : public testing::Test
{
protected:
    test::Bytes packed(bool onlyChanged = false)
    {
        CMemoryBuffer buffer;
        node(stat).packValue(buffer, onlyChanged);
        return contents(buffer);
    }

    CStringStat stat{nullptr, 1, textDescription, ""};
};

TEST_F(StringStat, PacksItsLengthAndItsBytes)
{
    EXPECT_EQ(packed(), bytes("00 00"));
    stat = "abc";
    EXPECT_EQ(packed(), bytes("03 00 61 62 63"));
    EXPECT_TRUE(stat.checkChanged());
    EXPECT_EQ(packed(true).size(), 5U);
    EXPECT_FALSE(stat.checkChanged());
}

TEST_F(StringStat, LongTextLosesItsTailInThePackedForm)
{
    stat = std::string(65536 + 3, 'x');
    EXPECT_EQ(packed(), bytes("03 00 78 78 78"));
    stat = std::string(65536, 'x');
    EXPECT_EQ(packed(), bytes("00 00"));
    stat = std::string(65535, 'x');
    EXPECT_EQ(packed().size(), 65537U);
}

TEST_F(StringStat, UnpackReplacesTheTextAndRaisesTheFlag)
{
    stat = "before";
    stat.resetChanged();
    CMemoryBuffer buffer(bytes("02 00 68 69 00 00").data(), 6);

    node(stat).unpackValue(buffer);
    EXPECT_EQ(stat.get(), "hi");
    EXPECT_TRUE(stat.checkChanged());
    node(stat).unpackValue(buffer);
    EXPECT_EQ(stat.get(), "");
}

TEST_F(StringStat, CutTextLeavesValueAndFlag)
{
    stat = "before";
    stat.resetChanged();
    test::Bytes const whole = bytes("02 00 68 69");
    for (int length = 0; length < 4; ++length) {
        CMemoryBuffer buffer(whole.data(), length);
        EXPECT_EQ(raisedBy<CMemoryBuffer::CException>([&] { node(stat).unpackValue(buffer); }).line, 184);
        EXPECT_EQ(stat.get(), "before");
        EXPECT_FALSE(stat.checkChanged());
    }
}

TEST_F(StringStat, KeepsItsTextThroughAReset)
{
    stat = "kept";
    node(stat).reset();
    EXPECT_EQ(stat.get(), "kept");
}

TEST_F(StringStat, ComparesAsZeroTerminatedUnsignedBytes)
{
    CStringStat other(nullptr, 1, textDescription, "b");
    stat = "a";
    EXPECT_EQ(stat.collate(other), -1);
    EXPECT_EQ(other.collate(stat), 1);
    EXPECT_EQ(node(stat).compare(other), -1);

    stat = "\xE9";
    EXPECT_EQ(stat.collate(other), 1) << "bytes are unsigned";

    stat = std::string("b\0tail", 6);
    EXPECT_EQ(stat.collate(other), 0) << "what stands behind a zero doesn't count";
}

TEST_F(StringStat, CompareAssignDecidesTheFlagAfresh)
{
    CStringStat other(nullptr, 1, textDescription, "new");

    EXPECT_TRUE(node(stat).compareAssign(other));
    EXPECT_TRUE(stat.checkChanged());
    EXPECT_EQ(stat.get(), "new");
    EXPECT_FALSE(node(stat).compareAssign(other));
    EXPECT_FALSE(stat.checkChanged());
}

TEST_F(StringStat, AssignCopiesAndRaisesTheFlag)
{
    CStringStat const other(nullptr, 1, textDescription, "new");
    stat.resetChanged();

    node(stat).assign(other);

    EXPECT_EQ(stat.get(), "new");
    EXPECT_TRUE(stat.checkChanged());
    std::string & text = stat;
    text += "er";
    EXPECT_EQ(stat.get(), "newer");
}

// A leaf of the host's, with four bytes at an odd address.
class Unaligned : public CBaseValueStat
{
public:
    Unaligned() : CBaseValueStat(nullptr, 1, macDescription, 4, odd()) {}

    int collate(CBaseStat const & other) const override { return CBaseStat::compare(other); }
    unsigned char * odd() { return bytes + (reinterpret_cast<std::uintptr_t>(bytes) % 2 == 0); }

    unsigned char bytes[5] = {};
};

TEST(ValueStat, FourBytesNeedNoAlignment)
{
    Unaligned stat;
    Unaligned other;
    for (unsigned char i = 0; i < 4; ++i)
        other.odd()[i] = static_cast<unsigned char>(i + 1);

    EXPECT_TRUE(node(stat).compareAssign(other));
    EXPECT_EQ(node(stat).compare(other), 0);
    node(stat).reset();
    EXPECT_EQ(node(stat).compare(other), -1);
    node(stat).assign(other);
    EXPECT_EQ(stat.odd()[3], 4);
}

TEST(DetachedStat, HasNoValueToTakeOrToGive)
{
    Counter detached;
    Counter other;
    Counter stat(nullptr, 1, counterDescription);
    stat = 5U;

    node(stat).assign(detached);
    EXPECT_FALSE(node(stat).compareAssign(detached));
    EXPECT_EQ(stat.get(), 5U);
    node(detached).assign(stat);
    EXPECT_FALSE(node(detached).compareAssign(stat));
    EXPECT_EQ(node(detached).compare(stat), -1);
    EXPECT_EQ(node(stat).compare(detached), 1);
    EXPECT_EQ(node(detached).compare(other), 0);
    EXPECT_FALSE(node(detached).compareAssign(other));
    node(detached).reset();
    CMemoryBuffer buffer;
    node(detached).packValue(buffer, false);
    node(detached).unpackValue(buffer);
    EXPECT_EQ(buffer.size, 0);
}

} // namespace
