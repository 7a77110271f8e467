#include "ketstats/model/StatTypes.h"

#include "tests/support/Bytes.h"
#include "tests/support/Groups.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <random>
#include <type_traits>

using namespace KetStats;
using ktools::CMemoryBuffer;
using test::bytes;
using test::contents;
using test::Nest;
using test::Pair;
using test::Raised;
using test::raisedBy;

namespace {

test::Bytes packed(CBaseStat & stat, bool onlyChanged)
{
    CMemoryBuffer buffer;
    stat.packValue(buffer, onlyChanged);
    return contents(buffer);
}

Raised unpack(CBaseStat & stat, test::Bytes const & stream)
{
    CMemoryBuffer buffer(stream.data(), static_cast<int>(stream.size()));
    return raisedBy<CMemoryBuffer::CException>([&] { stat.unpackValue(buffer); });
}

TEST(StaticContainer, PacksIdsAndValuesInTableOrder)
{
    Pair pair;
    pair.first = 5U;
    pair.second = static_cast<unsigned short>(6);

    EXPECT_EQ(packed(pair, false), bytes("01 00 05 00 00 00" // child 1, 32 bits
                                         "02 00 06 00"       // child 2, 16 bits
                                         "00 00"));          // end
    EXPECT_TRUE(pair.first.checkChanged()) << "a full pack moves no flag";
    EXPECT_TRUE(pair.isChanged());
}

TEST(StaticContainer, QuietPackIsTheEndMark)
{
    Pair pair;
    pair.first.resetChanged();
    pair.second.resetChanged();

    EXPECT_EQ(packed(pair, true), bytes("00 00"));
    EXPECT_FALSE(pair.isChanged());
}

TEST(StaticContainer, PackOfChangedWritesAndLowersFlaggedChildrenOnly)
{
    Pair pair;
    pair.second = static_cast<unsigned short>(6);
    pair.first.resetChanged();

    EXPECT_EQ(packed(pair, true), bytes("02 00 06 00 00 00"));
    EXPECT_FALSE(pair.second.isChanged());
    EXPECT_EQ(packed(pair, true), bytes("00 00"));
}

TEST(StaticContainer, PackOfChangedSkipsAGroupByItsOwnFlag)
{
    Nest nest;
    nest.resetChanged();
    nest.pair.first.setChanged();

    EXPECT_EQ(packed(nest, true), bytes("00 00"));
    nest.pair.setChanged();
    nest.pair.second.resetChanged();
    EXPECT_EQ(packed(nest, true), bytes("02 00  01 00 00 00 00 00  00 00  00 00"));
}

TEST(StaticContainer, StreamOfOneChildLeavesTheOthers)
{
    Pair pair;
    pair.first = 5U;
    pair.resetChanged();

    EXPECT_EQ(unpack(pair, bytes("02 00 06 00 00 00")), test::nothingRaised);

    EXPECT_EQ(pair.first.get(), 5U);
    EXPECT_FALSE(pair.first.isChanged());
    EXPECT_EQ(pair.second.get(), 6U);
    EXPECT_TRUE(pair.second.isChanged());
    EXPECT_TRUE(pair.isChanged());
}

TEST(StaticContainer, IdsOutOfOrderAreRefused)
{
    Pair pair;
    pair.first = 5U;
    pair.resetChanged();

    EXPECT_EQ(unpack(pair, bytes("02 00 06 00  01 00 09 00 00 00  00 00")),
              (Raised{2, "StatTypes", 283, true}));

    EXPECT_EQ(pair.second.get(), 6U) << "what was read before is kept";
    EXPECT_EQ(pair.first.get(), 5U);
    EXPECT_FALSE(pair.isChanged());
}

TEST(StaticContainer, UnknownIdsAreRefused)
{
    Pair pair;
    EXPECT_EQ(unpack(pair, bytes("03 00 00 00")), (Raised{2, "StatTypes", 283, true}));
    EXPECT_EQ(unpack(pair, bytes("01 00 01 00 00 00  01 00")).line, 283) << "an id that was read already";
}

TEST(StaticContainer, CompareAssignMakesEveryFlagTell)
{
    Nest nest;
    Nest other;

    EXPECT_FALSE(nest.compareAssign(other));
    EXPECT_FALSE(nest.isChanged());
    EXPECT_FALSE(nest.data.isChanged());
    EXPECT_FALSE(nest.pair.isChanged());
    EXPECT_FALSE(nest.pair.first.isChanged());
    EXPECT_FALSE(nest.text.isChanged());

    other.pair.second = static_cast<unsigned short>(3);
    other.text = "new";
    EXPECT_TRUE(nest.compareAssign(other));
    EXPECT_TRUE(nest.isChanged());
    EXPECT_FALSE(nest.data.isChanged());
    EXPECT_TRUE(nest.pair.isChanged());
    EXPECT_FALSE(nest.pair.first.isChanged());
    EXPECT_TRUE(nest.pair.second.isChanged());
    EXPECT_TRUE(nest.text.isChanged());
    EXPECT_EQ(nest.pair.second.get(), 3U);
    EXPECT_EQ(nest.text.get(), "new");
}

TEST(StaticContainer, AssignCopiesAndRaisesEveryFlag)
{
    Nest nest;
    Nest source;
    source.data = -2LL;
    source.pair.first = 7U;
    nest.resetChanged();

    nest.assign(source);

    EXPECT_EQ(nest.data.get(), -2);
    EXPECT_EQ(nest.pair.first.get(), 7U);
    EXPECT_TRUE(nest.isChanged());
    EXPECT_TRUE(nest.pair.isChanged());
    EXPECT_TRUE(nest.pair.first.isChanged());
    EXPECT_TRUE(nest.text.isChanged());
}

TEST(StaticContainer, ResetZeroesValuesAndLeavesFlagsAndTexts)
{
    Nest nest;
    nest.data = 5LL;
    nest.pair.first = 6U;
    nest.text = "kept";
    nest.resetChanged();
    nest.pair.second.setChanged();

    nest.reset();

    EXPECT_EQ(nest.data.get(), 0);
    EXPECT_EQ(nest.pair.first.get(), 0U);
    EXPECT_EQ(nest.text.get(), "kept");
    EXPECT_FALSE(nest.data.isChanged());
    EXPECT_FALSE(nest.isChanged());
    EXPECT_TRUE(nest.pair.second.isChanged());
}

TEST(StaticContainer, CheckChangedIsItsOwnFlag)
{
    Nest nest;
    nest.resetChanged();
    nest.pair.first.setChanged();
    EXPECT_FALSE(nest.checkChanged());
    nest.setChanged();
    EXPECT_TRUE(nest.pair.second.isChanged());
    EXPECT_TRUE(nest.checkChanged());
}

TEST(StaticContainer, OrdersByTheFirstChildThatDiffers)
{
    Nest left;
    Nest right;
    EXPECT_EQ(left.collate(right), 0);
    EXPECT_EQ(left.compare(right), 0);

    left.pair.second = static_cast<unsigned short>(1);
    right.text = "z";
    EXPECT_EQ(left.collate(right), 1) << "the pair stands in front of the text";
    EXPECT_EQ(left.compare(right), 1);

    right.data = 256LL;
    left.data = 2LL;
    EXPECT_EQ(left.collate(right), -1) << "numbers";
    EXPECT_EQ(left.compare(right), 1) << "bytes";
}

TEST(StaticContainer, WalksByIdentifier)
{
    Nest nest;

    EXPECT_EQ(nest.getStatPointer(COid("1"), 1), &nest);
    EXPECT_EQ(nest.getStatPointer(COid("1.1"), 1), &nest.data);
    EXPECT_EQ(nest.getStatPointer(COid("1.2"), 1), &nest.pair);
    EXPECT_EQ(nest.getStatPointer(COid("1.2.2"), 1), &nest.pair.second);
    EXPECT_EQ(nest.getStatPointer(COid("1.0"), 1), nullptr) << "no child has the id 0";
    EXPECT_EQ(nest.getStatPointer(COid("1.4"), 1), nullptr);
    EXPECT_EQ(nest.getStatPointer(COid("1.1.1"), 1), nullptr) << "nothing is below a leaf";
    EXPECT_EQ(nest.getStatPointer(COid("1.2.3"), 1), nullptr);
    EXPECT_EQ(nest.getStatPointer(COid("1"), 2), nullptr) << "a position behind the end";
}

TEST(StaticContainer, WalksToIdsWithGaps)
{
    Nest nest;
    nest.text.resetId(9);
    nest.data.resetId(3);

    EXPECT_EQ(nest.getStatPointer(COid("1.9"), 1), &nest.text);
    EXPECT_EQ(nest.getStatPointer(COid("1.3"), 1), &nest.data);
    EXPECT_EQ(nest.getStatPointer(COid("1.1"), 1), nullptr);
}

Nest & filled(Nest & nest)
{
    nest.data = 0x1122334455667788LL;
    nest.pair.first = 0x01020304U;
    nest.pair.second = static_cast<unsigned short>(0x0506);
    nest.text = "text";
    return nest;
}

TEST(StaticContainer, CutStreamsFailInTheBufferAtEveryLength)
{
    Nest source;
    test::Bytes const whole = packed(filled(source), false);

    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        Nest target;
        target.resetChanged();
        EXPECT_EQ(unpack(target, {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)}),
                  (Raised{1, "MemoryBuffer", 184, true}));
        EXPECT_FALSE(target.isChanged());
        // Each child is there whole or not at all.
        EXPECT_TRUE(target.data.get() == 0 || target.data.get() == source.data.get());
        EXPECT_EQ(target.data.isChanged(), target.data.get() != 0);
        EXPECT_TRUE(target.text.get().empty() || target.text.get() == "text");
    }
    Nest target;
    EXPECT_EQ(unpack(target, whole), test::nothingRaised);
    EXPECT_EQ(packed(target, false), whole);
}

TEST(StaticContainer, AnyDamagedByteEndsCleanly)
{
    Nest source;
    test::Bytes const whole = packed(filled(source), false);

    for (std::size_t at = 0; at < whole.size(); ++at)
        for (unsigned int value = 0; value < 256; ++value) {
            test::Bytes damaged = whole;
            damaged[at] = static_cast<unsigned char>(value);
            Nest target;
            Raised const raised = unpack(target, damaged);
            EXPECT_TRUE(raised == test::nothingRaised || raised.line == 184 || raised.line == 283) << raised;
        }
}

// Two trees that follow each other by deltas stay equal, whatever changes.
TEST(StaticContainer, DeltasCarryEveryChange)
{
    for (unsigned int seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        Nest live;
        Nest sent;
        Nest received;
        for (int step = 0; step < 100; ++step) {
            if (random() % 2)
                live.data.add(static_cast<long long>(random()));
            if (random() % 3 == 0)
                live.pair.first.add(1);
            if (random() % 5 == 0)
                live.pair.second = static_cast<unsigned short>(random());
            if (random() % 7 == 0)
                live.text = std::to_string(random());

            bool const differed = sent.compareAssign(live);
            test::Bytes const delta = packed(sent, true);
            ASSERT_TRUE(differed || delta == bytes("00 00"));
            ASSERT_EQ(unpack(received, delta), test::nothingRaised);
            ASSERT_EQ(received.compare(live), 0);
        }
    }
}

// Something with a virtual table of its own, so that a node behind it doesn't stand at the start.
struct Other
{
    virtual ~Other() = default;
    int number = 0;
};
struct NodeFirst : CValueStat<unsigned int>, Other
{};
struct NodeLast : Other, CValueStat<unsigned int>
{};

static_assert(CBaseStat::isAtStartOf<CValueStat<unsigned int>>() && CBaseStat::isAtStartOf<CStringStat>());
static_assert(CBaseStat::isAtStartOf<Nest>() && CBaseStat::isAtStartOf<NodeFirst>());
static_assert(!CBaseStat::isAtStartOf<NodeLast>(), "such a child is refused when its group is compiled");

static_assert(!std::is_copy_constructible_v<Pair> && !std::is_copy_assignable_v<Pair>);
static_assert(!std::is_move_constructible_v<Nest>, "a copy of a group would be an empty husk");

} // namespace
