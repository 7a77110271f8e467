#include "tests/support/Allocations.h"
#include "tests/support/Rows.h"
#include "tests/support/System.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <list>
#include <memory>
#include <optional>
#include <unordered_map>

using namespace KetStats;
using test::Bytes;
using test::Deletions;
using test::keyBytes;
using test::keyNumber;
using test::KeyOf;
using test::place;
using test::PlacedRow;
using test::rowsOf;
using test::setValue;
using test::Table;
using test::valueOf;

namespace {

using Ids = std::vector<unsigned int>;

// Key number `number`; all numbers collide.
CIPAddress key(unsigned int number)
{
    return place(7, 1, number);
}

// A table with the rows of the keys 1 to `rows`, each with ten times this number as its value.
struct Filled : Table<PlacedRow>
{
    Filled(unsigned int theLimit, unsigned int rows) : Table(theLimit)
    {
        for (unsigned int number = 1; number <= rows; ++number)
            add(*this, key(number), number * 10);
    }
};

// Ids from the oldest to the newest.
template <class Container>
Ids idsOf(Container const & container)
{
    Ids ids;
    for (unsigned int id = container.getOldestId(); id != 0; id = container.getNextNewerId(id))
        ids.push_back(id);
    return ids;
}

// ---- rows come ----

TEST(HashedContainer, HoldsOneRowLessThanItsLimit)
{
    Table<PlacedRow> table(5);

    for (unsigned int number = 1; number <= 4; ++number) {
        EXPECT_FALSE(table.isFull());
        EXPECT_EQ(table[key(number)]->getId(), number);
    }

    EXPECT_TRUE(table.isFull());
    EXPECT_EQ(table.size(), 4U);
    EXPECT_EQ(table.getChildrenCount(), 4U);
    EXPECT_EQ(idsOf(table), (Ids{1, 2, 3, 4}));
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, RowTooManyTakesTheIdOfTheOldest)
{
    Filled table(5, 4);

    PlacedRow * const row = table[key(5)];

    EXPECT_EQ(row->getId(), 1U);
    EXPECT_EQ(table.find(key(1)), nullptr);
    EXPECT_EQ(table.find(key(5)), row);
    EXPECT_EQ(idsOf(table), (Ids{2, 3, 4, 1}));
    EXPECT_EQ(table.size(), 4U);
    EXPECT_EQ(PlacedRow::living().size(), 4U);
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, NewRowKeepsNothingOfTheOneThatItReplaced)
{
    Filled table(3, 2);
    table.resetChanged();

    PlacedRow * const row = table[key(3)];

    EXPECT_EQ(row->getId(), 1U);
    EXPECT_EQ(row->framesTransmitted.get(), 0U);
    EXPECT_TRUE(row->isChanged());
    EXPECT_TRUE(row->framesTransmitted.isChanged());
    EXPECT_EQ(row->address.get(), key(3));
    EXPECT_FALSE(table.isChanged()) << "whoever counts raises the flag";
}

TEST(HashedContainer, RowKnowsItsPlaceInTheTree)
{
    CAgentStatistic root;
    root.protocols[keyNumber<CProtocolIdPacked>(1)];

    CProtocolStat * const row = root.protocols[keyNumber<CProtocolIdPacked>(2)];

    EXPECT_EQ(row->getParent(), &root.protocols);
    EXPECT_EQ(row->getOid().toString(), "1.6.2");
    EXPECT_EQ(root.getStatPointer(COid("1.6.2"), 1), row);
    EXPECT_EQ(root.getStatPointer(COid("1.6.2.3"), 1), &row->framesTransmitted);
}

TEST(HashedContainer, LookupOfAKnownKeyKeepsTheOrder)
{
    Filled table(5, 4);
    Deletions<PlacedRow> deletions(table);

    EXPECT_EQ(table[key(1)]->getId(), 1U);
    EXPECT_EQ(table[key(3)]->framesTransmitted.get(), 30U);

    EXPECT_EQ(idsOf(table), (Ids{1, 2, 3, 4}));
    EXPECT_TRUE(deletions->empty());
}

TEST(HashedContainer, RenewingLookupMovesTheRowToTheNewEnd)
{
    Filled table(5, 4);

    PlacedRow * const known = table.renewed(key(2));
    EXPECT_EQ(known->framesTransmitted.get(), 20U);
    EXPECT_EQ(idsOf(table), (Ids{1, 3, 4, 2}));

    PlacedRow * const created = table.renewed(key(9));
    EXPECT_EQ(created->getId(), 1U);
    EXPECT_EQ(idsOf(table), (Ids{3, 4, 2, 1}));
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, FindChangesNothing)
{
    Filled table(5, 3);
    auto const before = rowsOf(table);
    Table<PlacedRow> const & constant = table;

    EXPECT_EQ(constant.find(key(2)), table.getChildById(2U));
    EXPECT_EQ(constant.find(key(4)), nullptr);

    EXPECT_EQ(rowsOf(table), before);
    EXPECT_EQ(PlacedRow::living().size(), 3U);
}

// ---- order ----

TEST(HashedContainer, EmptyContainerHasNoEnds)
{
    Table<PlacedRow> table(5);

    EXPECT_EQ(table.getOldestId(), 0U);
    EXPECT_EQ(table.getNewestId(), 0U);
    EXPECT_EQ(table.getOldest(), nullptr);
    EXPECT_EQ(table.getNewest(), nullptr);
    EXPECT_EQ(table.getNextNewerId(0), 0U);
    EXPECT_EQ(table.getNextNewerId(1), 0U);
    EXPECT_EQ(table.getChild(0U), nullptr);
    EXPECT_EQ(table.size(), 0U);
    EXPECT_EQ(table.getSummaryStat(), nullptr);
    EXPECT_FALSE(table.isFull());
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, RenewingTheNewestChangesNothing)
{
    Filled table(5, 3);

    table.renew(table.getNewest());

    EXPECT_EQ(idsOf(table), (Ids{1, 2, 3}));
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, RenewingTheOldestMakesTheNextOneTheOldest)
{
    Filled table(5, 3);

    table.renew(table.getOldest());

    EXPECT_EQ(idsOf(table), (Ids{2, 3, 1}));
    EXPECT_EQ(table.getOldestId(), 2U);
    EXPECT_EQ(table.getOldest(), table.getChildById(2U));
    EXPECT_EQ(table.getNewestId(), 1U);
    EXPECT_EQ(table.getNewest(), table.getChildById(1U));
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, RenewingARowBetweenJoinsItsNeighbours)
{
    Filled table(5, 4);

    table.renew(table.getChildById(3U));

    EXPECT_EQ(idsOf(table), (Ids{1, 2, 4, 3}));
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, RenewingTheOnlyRowKeepsIt)
{
    Filled table(5, 1);

    table.renew(table.getOldest());

    EXPECT_EQ(idsOf(table), (Ids{1}));
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, WalkEndsWithZero)
{
    Filled table(5, 3);
    table.renew(table.getChildById(1U));

    EXPECT_EQ(table.getNextNewerId(2), 3U);
    EXPECT_EQ(table.getNextNewerId(3), 1U);
    EXPECT_EQ(table.getNextNewerId(1), 0U);
    EXPECT_EQ(table.getNextNewerId(0), 0U);
    EXPECT_EQ(table.getNextNewerId(6), 0U) << "above the limit";
    EXPECT_EQ(table.getNextNewerId(~0U), 0U);
    EXPECT_EQ(table.getNextNewerId(4), 0U) << "an id without a row";
    EXPECT_EQ(table.getNextNewerId(5), 0U);
}

// ---- rows go ----

TEST(HashedContainer, DeletingTheOnlyRowEmptiesTheList)
{
    Filled table(5, 1);

    table.deleteOldest();

    EXPECT_EQ(table.getOldestId(), 0U);
    EXPECT_EQ(table.getNewestId(), 0U);
    EXPECT_EQ(table.freeIdx, 0U);
    EXPECT_EQ(table.size(), 0U);
    EXPECT_TRUE(PlacedRow::living().empty());
    EXPECT_TRUE(table.sound());
    EXPECT_EQ(table[key(8)]->getId(), 1U);
    EXPECT_EQ(table.freeIdx, 5U);
}

TEST(HashedContainer, GivenUpIndexIsTakenNext)
{
    Filled table(5, 3);
    table.renew(table.getChildById(1U));

    table.deleteOldest();

    EXPECT_EQ(table.find(key(2)), nullptr);
    EXPECT_EQ(idsOf(table), (Ids{3, 1}));
    EXPECT_EQ(table[key(8)]->getId(), 2U);
    EXPECT_EQ(table[key(9)]->getId(), 4U);
    EXPECT_EQ(idsOf(table), (Ids{3, 1, 2, 4}));
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, DeletedKeyComesBackUnderTheIndexGivenUpLast)
{
    Filled table(5, 4);
    table.deleteOldest();

    EXPECT_EQ(table[key(1)]->getId(), 1U);
    EXPECT_EQ(table[key(1)]->framesTransmitted.get(), 0U);
    EXPECT_EQ(idsOf(table), (Ids{2, 3, 4, 1}));
}

TEST(HashedContainer, DeletingFromAnEmptyContainerDoesNothing)
{
    Table<PlacedRow> table(5);
    Deletions<PlacedRow> deletions(table);

    table.deleteOldest();

    EXPECT_TRUE(deletions->empty());
    EXPECT_EQ(table.freeIdx, 5U);
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, FreeIndexIsTheOneGivenUpAndThenTheNextInLine)
{
    Filled table(6, 3);

    EXPECT_EQ(table.getFreeIdx(), 3U);
    EXPECT_EQ(table.getFreeIdx(), 3U) << "asking takes nothing";
    table.deleteOldest();
    EXPECT_EQ(table.getFreeIdx(), 0U);
    EXPECT_EQ(table.getFreeIdx(), 2U) << "the number of rows";
}

TEST(HashedContainer, FullContainerHasNoFreeIndexUntilARowGoes)
{
    Filled table(5, 4);

    EXPECT_EQ(table.getFreeIdx(), 5U);
    table.deleteOldest();
    EXPECT_FALSE(table.isFull());
    EXPECT_EQ(table.getFreeIdx(), 0U);
}

// ---- handlers ----

TEST(HashedContainer, EvictionAnnouncesTheIndexOfTheRowThatGoes)
{
    Filled table(5, 4);
    table.renew(table.getChildById(1U));
    Deletions<PlacedRow> deletions(table);

    table[key(5)];

    ASSERT_EQ(deletions->size(), 1U);
    EXPECT_EQ(deletions->front().number, 1U) << "the id less 1";
    EXPECT_EQ(deletions->front().keyAtIndex, keyBytes(key(2))) << "the row is still there";
}

TEST(HashedContainer, DeletionAnnouncesTheIndexToo)
{
    Filled table(5, 3);
    Deletions<PlacedRow> deletions(table);

    table.deleteOldest();
    table.deleteOldest();

    ASSERT_EQ(deletions->size(), 2U);
    EXPECT_EQ((*deletions)[0].number, 0U);
    EXPECT_EQ((*deletions)[1].number, 1U);
    EXPECT_EQ((*deletions)[1].keyAtIndex, keyBytes(key(2)));
}

TEST(HashedContainer, ClearingAnnouncesNothing)
{
    Filled table(5, 4);
    Deletions<PlacedRow> deletions(table);

    table.reset();

    EXPECT_TRUE(deletions->empty());
    add(table, key(1));
    table.deleteOldest();
    EXPECT_EQ(deletions->size(), 1U) << "the handler outlives a reset";
}

TEST(HashedContainer, HandlerCanBeTakenBack)
{
    Filled table(5, 3);
    Deletions<PlacedRow> deletions(table);
    table.registerDeleteHandler(nullptr);

    table.deleteOldest();

    EXPECT_TRUE(deletions->empty());
}

// ---- as a node of the tree ----

TEST(HashedContainer, ChildrenStandAtTheirIndex)
{
    Filled table(6, 4);

    for (unsigned int index = 0; index < 4; ++index)
        EXPECT_EQ(table.getChild(index), table.getChildById(index + 1));
    EXPECT_EQ(table.getChild(4U), nullptr);
    EXPECT_EQ(table.getChild(5U), nullptr);
    EXPECT_EQ(table.getChild(~0U), nullptr);

    table.deleteOldest();
    EXPECT_EQ(table.getChildrenCount(), 3U);
    EXPECT_EQ(table.getChild(0U), nullptr) << "a vacant index";
    EXPECT_NE(table.getChild(2U), nullptr);
    EXPECT_EQ(table.getChild(3U), nullptr) << "not below the number of rows, though the row 4 is there";
    EXPECT_NE(table.getChildById(4U), nullptr);
}

TEST(HashedContainer, IdentifiersReachIdsUpToTheNumberOfRows)
{
    Filled table(6, 3);

    EXPECT_EQ(table.getStatPointer(COid("1.2"), 1), table.getChildById(2U));
    EXPECT_EQ(table.getStatPointer(COid("3"), 0), table.getChildById(3U));
    EXPECT_EQ(table.getStatPointer(COid("1.2.2"), 1), &table.getChildById(2U)->framesTransmitted);
    EXPECT_EQ(table.getStatPointer(COid("1.0"), 1), nullptr);
    EXPECT_EQ(table.getStatPointer(COid("1.4"), 1), nullptr) << "one above the number of rows";
    EXPECT_EQ(table.getStatPointer(COid("1.65535"), 1), nullptr);
    EXPECT_EQ(table.getStatPointer(COid("1"), 1), nullptr) << "an identifier that ends here";
    EXPECT_EQ(table.getStatPointer(COid("1"), 7), nullptr);
    EXPECT_EQ(table.getStatPointer(COid("1.2.3"), 1), nullptr) << "a row has two children";
    EXPECT_EQ(table.getStatPointer(COid("1.2.2.1"), 1), nullptr) << "nothing is below a leaf";

    table.deleteOldest();
    EXPECT_EQ(table.getStatPointer(COid("1.1"), 1), nullptr) << "a vacant index";
    EXPECT_EQ(table.getStatPointer(COid("1.1.2"), 1), nullptr);
    EXPECT_EQ(table.getStatPointer(COid("1.3"), 1), nullptr) << "the row is there, but two are counted";
    EXPECT_NE(table.getStatPointer(COid("1.2"), 1), nullptr);
}

TEST(HashedContainer, FlagsReachEveryRow)
{
    Filled table(5, 3);
    table.renew(table.getOldest());

    table.resetChanged();
    EXPECT_FALSE(table.isChanged());
    for (unsigned int const id : idsOf(table)) {
        EXPECT_FALSE(table.getChildById(id)->isChanged());
        EXPECT_FALSE(table.getChildById(id)->framesTransmitted.isChanged());
    }

    table.getChildById(2U)->setChanged();
    EXPECT_FALSE(table.checkChanged()) << "its own flag, whatever the rows say";

    table.setChanged();
    EXPECT_TRUE(table.checkChanged());
    for (unsigned int const id : idsOf(table))
        EXPECT_TRUE(table.getChildById(id)->framesTransmitted.isChanged());
}

// ---- summary row ----

TEST(HashedContainer, SummaryRowTakesTheLastIdAndTheNewEnd)
{
    Filled table(5, 4);
    Deletions<PlacedRow> deletions(table);

    PlacedRow * const summary = table.createSummaryStat(key(0));

    EXPECT_EQ(summary->getId(), 5U);
    EXPECT_EQ(summary->address.get(), key(0));
    EXPECT_EQ(table.getSummaryStat(), summary);
    EXPECT_EQ(std::as_const(table).getSummaryStat(), summary);
    EXPECT_EQ(table.getNewest(), summary);
    EXPECT_EQ(table.getChildById(5U), summary);
    EXPECT_EQ(table.find(key(0)), summary);
    EXPECT_EQ(table.size(), 5U);
    EXPECT_TRUE(table.isFull());
    EXPECT_EQ(table.getFreeIdx(), 5U);
    EXPECT_TRUE(deletions->empty());
    EXPECT_EQ(idsOf(table), (Ids{1, 2, 3, 4, 5}));
    EXPECT_EQ(table.getStatPointer(COid("1.5"), 1), summary);
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, SummaryRowStaysWhileOthersCome)
{
    Filled table(5, 4);
    PlacedRow * const summary = table.createSummaryStat(key(0));
    table.renew(table.getChildById(1U));

    EXPECT_EQ(table[key(6)]->getId(), 2U);
    EXPECT_EQ(table[key(7)]->getId(), 3U);

    EXPECT_EQ(table.getSummaryStat(), summary);
    EXPECT_EQ(idsOf(table), (Ids{4, 5, 1, 2, 3}));
    EXPECT_TRUE(table.isFull());
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, SummaryRowCanGoLikeAnyOther)
{
    Filled table(3, 2);
    Deletions<PlacedRow> deletions(table);
    table.createSummaryStat(key(0));
    table.renew(table.getChildById(1U));
    table.renew(table.getChildById(2U));

    table[key(6)];

    ASSERT_EQ(deletions->size(), 1U);
    EXPECT_EQ(deletions->front().number, 2U);
    EXPECT_EQ(deletions->front().keyAtIndex, keyBytes(key(0)));
    EXPECT_EQ(table.getSummaryStat(), nullptr);
    EXPECT_EQ(table.find(key(0)), nullptr);
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, EarlySummaryRowLeavesAGapInTheIds)
{
    Filled table(6, 1);

    EXPECT_EQ(table.createSummaryStat(key(0))->getId(), 6U);

    EXPECT_EQ(table.size(), 2U);
    EXPECT_FALSE(table.isFull());
    EXPECT_EQ(table.getFreeIdx(), 2U) << "the number of rows, though the index 1 is vacant";
    EXPECT_EQ(table[key(2)]->getId(), 3U);
    EXPECT_EQ(table[key(3)]->getId(), 4U);
    EXPECT_EQ(table.getStatPointer(COid("1.6"), 1), nullptr) << "above the number of rows";
    EXPECT_EQ(table.getChild(1U), nullptr);
    EXPECT_EQ(table[key(4)]->getId(), 5U);
    EXPECT_FALSE(table.isFull());
    EXPECT_EQ(table.getFreeIdx(), 5U) << "the summary row's own index";
    EXPECT_TRUE(table.sound());

    table[key(5)];
    EXPECT_TRUE(table.sound()) << "whatever becomes of the summary row";
}

TEST(HashedContainer, ResetForgetsTheSummaryRow)
{
    Filled table(5, 4);
    table.createSummaryStat(key(0));

    table.reset();

    EXPECT_EQ(table.getSummaryStat(), nullptr);
    EXPECT_EQ(table.size(), 0U);
    EXPECT_TRUE(PlacedRow::living().empty());
    for (unsigned int number = 1; number <= 4; ++number)
        EXPECT_EQ(table[key(number)]->getId(), number);
    EXPECT_TRUE(table.isFull());
    EXPECT_TRUE(table.sound());
}

// A host may fold a row that goes into the summary row, and makes that when the first one goes.
TEST(HashedContainer, HandlerMayMakeTheSummaryRow)
{
    Filled table(5, 4);
    table.registerDeleteHandler([](PlacedRow::Container * container, unsigned int) {
        if (!container->getSummaryStat())
            container->createSummaryStat(key(0));
    });

    // Both keys would go to one slot.
    PlacedRow * const row = table[key(9)];

    EXPECT_TRUE(table.sound());
    EXPECT_EQ(table.find(key(9)), row);
    ASSERT_NE(table.getSummaryStat(), nullptr);
    EXPECT_EQ(table.getSummaryStat()->getId(), 5U);
    EXPECT_EQ(table.find(key(0)), table.getSummaryStat());
    EXPECT_EQ(table.find(key(1)), nullptr);
    table.reset();
    EXPECT_TRUE(PlacedRow::living().empty());
}

// ---- containers without room ----

TEST(HashedContainer, LimitBelowTwoLeavesNoRoomForARow)
{
    for (unsigned int const limit : {0U, 1U}) {
        SCOPED_TRACE(limit);
        Table<PlacedRow> table(limit);
        Deletions<PlacedRow> deletions(table);

        EXPECT_TRUE(table.isFull());
        EXPECT_EQ(table.getFreeIdx(), limit);
        EXPECT_EQ(table[key(1)], nullptr);
        EXPECT_EQ(table.renewed(key(1)), nullptr);
        EXPECT_EQ(table.find(key(1)), nullptr);
        table.deleteOldest();
        EXPECT_EQ(table[key(1)], nullptr);
        EXPECT_EQ(table.getChild(0U), nullptr);
        EXPECT_EQ(table.getChildById(0U), nullptr);
        EXPECT_EQ(table.getOldestId(), 0U);
        EXPECT_EQ(table.getNextNewerId(1), 0U);
        EXPECT_EQ(table.getStatPointer(COid("1.1"), 1), nullptr);
        EXPECT_TRUE(table.TestOrder(nullptr));
        EXPECT_TRUE(deletions->empty());
        EXPECT_TRUE(table.sound());
        EXPECT_TRUE(PlacedRow::living().empty());
    }
}

TEST(HashedContainer, SummaryRowOfATableWithoutRoomStaysInside)
{
    Table<PlacedRow> none(0);
    EXPECT_EQ(none.createSummaryStat(key(1)), nullptr);
    EXPECT_TRUE(none.sound());

    Table<PlacedRow> one(1);
    one.createSummaryStat(key(1));
    EXPECT_TRUE(one.sound());
    one[key(2)];
    EXPECT_TRUE(one.sound());
}

TEST(HashedContainer, LimitOfTwoHoldsOneRow)
{
    Table<PlacedRow> table(2);

    EXPECT_EQ(table[key(1)]->getId(), 1U);
    EXPECT_EQ(table[key(2)]->getId(), 1U);

    EXPECT_EQ(table.find(key(1)), nullptr);
    EXPECT_EQ(table.size(), 1U);
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, ARPTableWithoutRoomLearnsNothing)
{
    for (unsigned int const limit : {0U, 1U}) {
        Table<CARPStat> table(limit);
        EXPECT_EQ(table.createIfNew(CIPAddress(1), CMACAddrPacked()), nullptr);
        EXPECT_TRUE(table.sound());
    }
}

// ---- first bindings of addresses ----

CMACAddrPacked mac(unsigned int number)
{
    return keyNumber<CMACAddrPacked>(number);
}

TEST(HashedContainer, CreateIfNewKeepsAKnownAddressAsItIs)
{
    Table<CARPStat> table(5);
    CARPStat * const row = table.createIfNew(CIPAddress(1), mac(1));
    table.createIfNew(CIPAddress(2), CMACAddr(mac(2).bytes.data()));
    ASSERT_EQ(row->getId(), 1U);

    EXPECT_EQ(table.createIfNew(CIPAddress(1), mac(9)), row);

    EXPECT_EQ(row->ipAddress.get(), CIPAddress(1));
    EXPECT_EQ(row->macAddress.get(), mac(1));
    EXPECT_EQ(table.getChildById(2U)->macAddress.get(), mac(2));
    EXPECT_EQ(idsOf(table), (Ids{1, 2})) << "not renewed either";
    EXPECT_TRUE(table.sound());
}

TEST(HashedContainer, CreateIfNewNeverDeletes)
{
    Table<CARPStat> table(4);
    Deletions<CARPStat> deletions(table);
    for (unsigned int number = 1; number <= 3; ++number)
        ASSERT_EQ(table.createIfNew(CIPAddress(number), mac(number))->getId(), number);

    EXPECT_EQ(table.createIfNew(CIPAddress(4), mac(4)), nullptr);
    EXPECT_EQ(table.createIfNew(CIPAddress(3), mac(4))->getId(), 3U) << "known, though there is no room";
    EXPECT_TRUE(deletions->empty());
    EXPECT_EQ(idsOf(table), (Ids{1, 2, 3}));

    table.deleteOldest();
    EXPECT_EQ(table.createIfNew(CIPAddress(4), mac(4))->getId(), 1U);
    EXPECT_EQ(deletions->size(), 1U);
    EXPECT_EQ(idsOf(table), (Ids{2, 3, 1}));
    EXPECT_TRUE(table.sound());
}

// ---- self-check ----

TEST(HashedContainer, HealthyContainersPassTheirCheck)
{
    Table<PlacedRow> const empty(5);
    Filled table(5, 4);
    Filled other(5, 2);
    table.renew(table.getOldest());
    table.registerDumpOrderHandler(
        [](PlacedRow::Container const *, int, bool, PlacedRow *) { ADD_FAILURE() << "nothing to dump"; });

    EXPECT_TRUE(empty.TestOrder(nullptr));
    EXPECT_TRUE(table.TestOrder(nullptr));
    EXPECT_TRUE(table.TestOrder(&other));
    EXPECT_TRUE(table.TestOrder(&empty));
    table[key(8)];
    table.SetOrderTesting(true);
    EXPECT_TRUE(table.TestOrder(&table));
}

TEST(HashedContainer, VacantLastIndexIsNoHole)
{
    Filled table(5, 2);
    table.renew(table.getOldest());
    table.deleteOldest();

    EXPECT_TRUE(table.TestOrder(nullptr)) << "the row 1 is left";
}

void printDump(PlacedRow::Container const * container, int phase, bool flag, PlacedRow * row)
{
    std::fprintf(stderr, "[%u rows, %d, %s, row %u]", container->size(), phase, flag ? "true" : "false",
                 row ? row->getId() : 0U);
    std::fflush(stderr); // not every system writes it at once
}

TEST(HashedContainerDeathTest, HoleIsDumpedAndStopsInTheDebugger)
{
    Filled table(5, 4);
    table.renew(table.getChildById(3U));
    table.registerDumpOrderHandler(&printDump);
    table.deleteOldest();

    EXPECT_EXIT(table.TestOrder(nullptr), test::stoppedByADebugBreak,
                "^.3 rows, 0, false, row 0."
                ".3 rows, 1, false, row 2."
                ".3 rows, 1, false, row 4."
                ".3 rows, 1, false, row 3."
                ".3 rows, 2, false, row 0.$");
}

TEST(HashedContainerDeathTest, HoleStopsInTheDebuggerWithoutADump)
{
    Filled table(5, 4);
    Filled other(5, 4);
    table.deleteOldest();

    EXPECT_EXIT(table.TestOrder(&other), test::stoppedByADebugBreak, "^$");
}

// ---- costs ----

TEST(HashedContainer, RowsComeAndGoInAFullTableWithoutAllocation)
{
    Table<CIPConnectionStat> table(50);
    auto const connection = [](unsigned int number) {
        return CIPConnectionStat::CKey(CIPAddress(number), CIPAddress(number * 7));
    };
    for (unsigned int number = 1; number < 50; ++number)
        table[connection(number)];
    test::Allocations const allocations;

    for (unsigned int number = 0; number < 1000; ++number) {
        table[connection(number)];
        table.renewed(connection(number / 2));
        table.find(connection(number));
    }
    table.deleteOldest();
    table.reset();
    for (unsigned int number = 1; number < 50; ++number)
        table[connection(number)];

    EXPECT_EQ(allocations.count(), 0);
}

// ---- against a model ----

// What a container does, in standard containers.
class Model
{
public:
    struct Row
    {
        unsigned int id;
        unsigned int key;
        unsigned int value;
    };
    using Rows = std::list<Row>;

    explicit Model(unsigned int theLimit) : m_limit(theLimit) {}

    Row * find(unsigned int rowKey)
    {
        auto const found = m_byKey.find(rowKey);
        return found == m_byKey.end() ? nullptr : &*found->second;
    }
    Row & get(unsigned int rowKey)
    {
        if (Row * const known = find(rowKey))
            return *known;
        unsigned int index = takeIndex();
        if (index == m_limit) {
            deleteOldest();
            index = takeIndex();
        }
        return create(index + 1, rowKey);
    }
    Row & renew(unsigned int rowKey)
    {
        rows.splice(rows.end(), rows, m_byKey.at(rowKey));
        return rows.back();
    }
    void deleteOldest()
    {
        if (rows.empty())
            return;
        Row const oldest = rows.front();
        deleted.push_back(oldest);
        freeIndex = oldest.id - 1;
        m_byKey.erase(oldest.key);
        rows.pop_front();
    }
    void createSummary(unsigned int rowKey)
    {
        create(m_limit, rowKey);
        summary = rowKey;
    }
    void reset()
    {
        rows.clear();
        m_byKey.clear();
        freeIndex.reset();
        summary.reset();
    }
    bool isFull() const
    {
        std::size_t const most = summary ? m_limit : m_limit - 1;
        return rows.size() == most && !freeIndex;
    }

    Rows rows; // from the oldest to the newest
    std::vector<Row> deleted;
    std::optional<unsigned int> freeIndex;
    std::optional<unsigned int> summary;

private:
    unsigned int takeIndex()
    {
        if (isFull())
            return m_limit;
        unsigned int const index = freeIndex.value_or(static_cast<unsigned int>(rows.size()));
        freeIndex.reset();
        return index;
    }
    Row & create(unsigned int id, unsigned int rowKey)
    {
        m_byKey[rowKey] = rows.insert(rows.end(), {id, rowKey, 0});
        return rows.back();
    }

    unsigned int m_limit;
    std::unordered_map<unsigned int, Rows::iterator> m_byKey;
};

template <class Row>
KeyOf<Row> keyOfNumber(unsigned int number)
{
    // Few paths through the table, and many keys on each.
    if constexpr (std::is_same_v<Row, PlacedRow>)
        return place(number % 3, 1 + number % 2, number / 3);
    else
        return keyNumber<KeyOf<Row>>(number * 7919);
}

// Does the same random things to a container and to a model of it.
template <class Row>
class Twins
{
public:
    // Long keys can be told to crowd in one place of the table's index.
    Twins(unsigned int limit, unsigned int seed, bool crowded = false)
        : m_table(limit),
          m_model(limit),
          m_limit(limit),
          m_random(seed),
          m_deletions(m_table),
          m_keys(limit * 2 + 3),
          m_crowded(crowded)
    {}

    // Returns at the first difference, which is a failure then.
    void run(int steps)
    {
        for (int step = 0; step < steps; ++step) {
            SCOPED_TRACE(testing::Message() << "step " << step);
            m_deletions->clear();
            m_model.deleted.clear();
            turn();
            keepSummaryYoung();
            compare(step % 16 == 0);
            if (testing::Test::HasFatalFailure())
                return;
        }
    }
    unsigned int evictions() const { return m_evictions; }

private:
    KeyOf<Row> keyOf(unsigned int number) const
    {
        if constexpr (sizeof(KeyOf<Row>) == 16 || sizeof(KeyOf<Row>) == 32)
            if (m_crowded)
                return test::crowdedKey<KeyOf<Row>>(number);
        return keyOfNumber<Row>(number);
    }

    void turn()
    {
        unsigned int const number = m_random.below(m_keys);
        switch (m_random.below(12)) {
        case 0:
        case 1:
        case 2:
        case 3:
            count(*m_table[keyOf(number)], m_model.get(number));
            break;
        case 4:
        case 5:
        case 6:
            count(*m_table.renewed(keyOf(number)), [&]() -> Model::Row & {
                m_model.get(number);
                return m_model.renew(number);
            }());
            break;
        case 7:
            if (!m_model.rows.empty()) {
                unsigned int const known = anyKnown();
                m_table.renew(const_cast<Row *>(m_table.find(keyOf(known))));
                m_model.renew(known);
            }
            break;
        case 8:
            m_table.deleteOldest();
            m_model.deleteOldest();
            replace(number);
            break;
        case 9:
            if (m_model.isFull() && !m_model.summary && m_random.oneIn(20)) {
                m_table.createSummaryStat(keyOf(m_keys));
                m_model.createSummary(m_keys);
            }
            break;
        case 10:
            if (m_random.oneIn(200)) {
                m_table.reset();
                m_model.reset();
                m_givenUp = {};
            }
            break;
        default:
            expectSame(number);
        }
    }

    // A deletion is followed by a new row before the next one.
    void replace(unsigned int number)
    {
        while (m_model.find(number))
            number = (number + 1) % m_keys;
        count(*m_table[keyOf(number)], m_model.get(number));
    }

    void count(Row & row, Model::Row & model)
    {
        ASSERT_EQ(row.getId(), model.id);
        ASSERT_EQ(valueOf(row), model.value);
        bool const isNew = model.value == 0;
        model.value = 1 + m_random.below(1000000);
        setValue(row, model.value);
        if constexpr (requires { row.tcpPorts; })
            countPorts(row, model.value, isNew);
    }

    // A station's ports begin with it, whatever stood in its place before.
    void countPorts(CStationStat & station, unsigned int value, bool isNew)
    {
        ASSERT_EQ(station.tcpPorts.size() == 0, isNew);
        for (unsigned int i = 0; i <= value % 4; ++i) {
            unsigned int const ports = station.tcpPorts.size();
            bool const known = station.tcpPorts.find(portNumber(value + i));
            ASSERT_FALSE(known && isNew);
            setValue(*station.tcpPorts[portNumber(value + i)], value);
            ASSERT_EQ(station.tcpPorts.size(), known ? ports : ports + 1);
            if (i == 0)
                station.udpPorts.deleteOldest();
            setValue(*station.udpPorts.renewed(portNumber(value % 20 + i)), value);
        }
    }
    static CProtocolIdPacked portNumber(unsigned int number) { return keyNumber<CProtocolIdPacked>(number); }

    unsigned int anyKnown()
    {
        auto row = m_model.rows.begin();
        std::advance(row, m_random.below(m_model.rows.size()));
        return row->key;
    }

    // Users of a summary row keep it away from the old end.
    void keepSummaryYoung()
    {
        if (!m_model.summary || m_model.rows.front().key != *m_model.summary)
            return;
        m_table.renew(m_table.getSummaryStat());
        m_model.renew(*m_model.summary);
    }

    void expectSame(unsigned int number)
    {
        Row const * const row = std::as_const(m_table).find(keyOf(number));
        Model::Row const * const model = m_model.find(number);
        ASSERT_EQ(row != nullptr, model != nullptr) << "key " << number;
        if (row) {
            ASSERT_EQ(row->getId(), model->id);
            ASSERT_EQ(row, m_table.getChildById(model->id));
        }
    }

    void compare(bool thoroughly)
    {
        m_evictions += static_cast<unsigned int>(m_deletions->size());
        for (Model::Row const & row : m_model.deleted) {
            m_givenUp.rows += 1;
            if constexpr (requires(Row & real) { real.framesTransmitted; })
                m_givenUp.framesTransmitted += row.value;
        }
        ASSERT_EQ(m_table.ledger().rows, m_givenUp.rows);
        ASSERT_EQ(m_table.ledger(), m_givenUp);
        ASSERT_EQ(m_deletions->size(), m_model.deleted.size());
        for (std::size_t i = 0; i < m_model.deleted.size(); ++i) {
            ASSERT_EQ((*m_deletions)[i].number, m_model.deleted[i].id - 1);
            ASSERT_EQ((*m_deletions)[i].keyAtIndex, keyBytes(keyOf(m_model.deleted[i].key)));
        }
        std::vector<test::Shown> expected;
        for (Model::Row const & row : m_model.rows)
            expected.push_back({row.id, keyBytes(keyOf(row.key)), row.value});
        ASSERT_EQ(rowsOf(m_table), expected);
        ASSERT_EQ(m_table.size(), expected.size());
        ASSERT_EQ(m_table.isFull(), m_model.isFull());
        ASSERT_EQ(m_table.freeIdx, m_model.freeIndex.value_or(m_limit));
        ASSERT_EQ(m_table.getSummaryStat() != nullptr, m_model.summary.has_value());
        if (!thoroughly)
            return;
        ASSERT_TRUE(m_table.sound());
        for (unsigned int number = 0; number <= m_keys; ++number)
            expectSame(number);
        ASSERT_TRUE(m_table.TestOrder(nullptr));
    }

    Table<Row> m_table;
    Model m_model;
    unsigned int m_limit;
    test::Random m_random;
    Deletions<Row> m_deletions;
    unsigned int m_keys; // numbers from 0; the next one is the summary row's
    bool m_crowded;
    unsigned int m_evictions = 0;
    CLedger m_givenUp;
};

template <class Row>
void behavesLikeItsModel(unsigned int limit, int steps, bool crowded = false)
{
    for (unsigned int seed = 1; seed <= 2; ++seed) {
        SCOPED_TRACE(testing::Message() << "limit " << limit << ", seed " << seed);
        Twins<Row> twins(limit, seed, crowded);
        twins.run(steps);
        if (testing::Test::HasFatalFailure())
            return;
        EXPECT_GT(twins.evictions(), static_cast<unsigned int>(steps) / 20);
    }
}

class HashedContainerOfLimit : public testing::TestWithParam<unsigned int>
{};

TEST_P(HashedContainerOfLimit, OfRowsThatCollideBehavesLikeItsModel)
{
    behavesLikeItsModel<PlacedRow>(GetParam(), 2500);
    EXPECT_TRUE(PlacedRow::living().empty());
}

TEST_P(HashedContainerOfLimit, OfStationsBehavesLikeItsModel)
{
    behavesLikeItsModel<CStationStat>(GetParam(), 1500);
}

TEST_P(HashedContainerOfLimit, OfIPConnectionsBehavesLikeItsModel)
{
    behavesLikeItsModel<CIPConnectionStat>(GetParam(), 2500);
}

TEST_P(HashedContainerOfLimit, OfAddressBindingsBehavesLikeItsModel)
{
    behavesLikeItsModel<CARPStat>(GetParam(), 2500);
}

TEST_P(HashedContainerOfLimit, OfIPv6ConnectionsBehavesLikeItsModel)
{
    behavesLikeItsModel<CIPv6ConnectionStat>(GetParam(), 2000);
}

TEST_P(HashedContainerOfLimit, OfIPv6NeighboursBehavesLikeItsModel)
{
    behavesLikeItsModel<CNeighbourStat>(GetParam(), 2000);
}

TEST_P(HashedContainerOfLimit, OfVlansBehavesLikeItsModel)
{
    behavesLikeItsModel<COuterVlanStat>(GetParam(), 1500);
}

TEST_P(HashedContainerOfLimit, OfLongKeysThatCollideBehavesLikeItsModel)
{
    behavesLikeItsModel<CIPv6ConnectionStat>(GetParam(), 1200, true);
    behavesLikeItsModel<CNeighbourStat>(GetParam(), 1200, true);
}

INSTANTIATE_TEST_SUITE_P(Rows, HashedContainerOfLimit, testing::Values(2U, 3U, 5U, 17U, 200U),
                         testing::PrintToStringParamName());

// Whoever deletes twice in a row, or makes summary rows early, loses rows, but nothing else.
TEST(HashedContainer, HoldsTogetherWhateverIsDoneToIt)
{
    for (unsigned int seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        test::Random random(seed);
        {
            Table<PlacedRow> table(1 + random.below(7));
            for (int step = 0; step < 500; ++step) {
                SCOPED_TRACE(testing::Message() << "step " << step);
                auto const rowKey = keyOfNumber<PlacedRow>(random.below(20));
                switch (random.below(8)) {
                case 0:
                case 1:
                    table.deleteOldest();
                    break;
                case 2:
                    table.createSummaryStat(rowKey);
                    break;
                case 3:
                    if (PlacedRow * const row = table.getChildById(random.below(9)))
                        table.renew(row);
                    break;
                case 4:
                    static_cast<void>(table.getFreeIdx());
                    break;
                case 5:
                    table.renewed(rowKey);
                    break;
                default:
                    if (random.oneIn(50))
                        table.reset();
                    else
                        table[rowKey];
                }
                ASSERT_TRUE(table.sound());
                ASSERT_EQ(PlacedRow::living().size(), table.size());
            }
        }
        ASSERT_TRUE(PlacedRow::living().empty());
    }
}

} // namespace
