#include "tests/support/Allocations.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>

using namespace KetStats;
using test::add;
using test::keyNumber;
using test::MemoryRunsOut;
using test::place;
using test::PlacedRow;
using test::Table;

namespace {

using Ids = std::vector<unsigned int>;

CIPAddress key(unsigned int number)
{
    return place(7, 1, number);
}

struct Filled : Table<PlacedRow>
{
    Filled(unsigned int theLimit, unsigned int rows) : Table(theLimit)
    {
        for (unsigned int number = 1; number <= rows; ++number)
            add(*this, key(number), number * 10);
    }
};

template <class Container>
Ids idsOf(Container const & container)
{
    Ids ids;
    for (auto const & row : container)
        ids.push_back(row.getId());
    return ids;
}

// What a handler of a test does; handlers take no context.
std::function<void(PlacedRow::Container &)> & onDelete()
{
    static std::function<void(PlacedRow::Container &)> action;
    return action;
}

void watch(PlacedRow::Container & table, std::function<void(PlacedRow::Container &)> action)
{
    onDelete() = std::move(action);
    table.registerDeleteHandler(
        [](PlacedRow::Container * container, unsigned int) { onDelete()(*container); });
}

// ---- walks and typed access ----

TEST(ContainerAccess, RowsAreWalkedFromTheOldestToTheNewest)
{
    Filled table(6, 4);
    table.renew(table.getChildById(2U));
    Table<PlacedRow> const empty(5);

    EXPECT_EQ(idsOf(table), (Ids{1, 3, 4, 2}));
    EXPECT_EQ(idsOf(empty), Ids{});
    for (PlacedRow & row : table)
        row.framesTransmitted.add(1);
    EXPECT_EQ(table.find(key(3))->framesTransmitted.get(), 31U);
    EXPECT_EQ(std::distance(table.begin(), table.end()), 4);
}

TEST(ContainerAccess, RowsAreReachedByKeyAndByIdWithTheirType)
{
    Filled table(6, 2);
    auto const & constant = std::as_const(table);

    PlacedRow const * const byKey = constant.find(key(2));
    PlacedRow const * const byId = constant.getChildById(2U);
    PlacedRow * const writable = table.find(key(2));

    EXPECT_EQ(byKey, byId);
    EXPECT_EQ(writable, byId);
    EXPECT_EQ(constant.getOldest(), constant.getChildById(1U));
    EXPECT_EQ(constant.getNewest(), byId);
    EXPECT_EQ(constant.getChildById(0U), nullptr);
    EXPECT_EQ(constant.getChildById(6U), nullptr);
    EXPECT_EQ(constant.getChildById(70000U), nullptr);
}

// ---- handlers ----

TEST(ContainerCorners, TheRowThatIsOldestAfterTheHandlerGoes)
{
    Filled table(5, 4);
    watch(table, [](auto & container) { container.renew(container.getOldest()); });

    table.deleteOldest();
    EXPECT_EQ(idsOf(table), (Ids{3, 4, 1}));
    EXPECT_EQ(table[key(9)]->getId(), 2U) << "the index of the row that went";

    EXPECT_EQ(table[key(10)]->getId(), 4U) << "the row 3 was made young, so the row 4 went";
    EXPECT_EQ(idsOf(table), (Ids{1, 2, 3, 4}));
    EXPECT_TRUE(table.sound());
}

TEST(ContainerCorners, HandlerThatEmptiesTheContainerLeavesOneRowOfAKey)
{
    for (bool const makesTheRow : {false, true}) {
        Filled table(5, 4);
        watch(table, [&](auto & container) {
            container.reset();
            for (unsigned int number = 20; number < 22; ++number)
                container[key(number)];
            if (makesTheRow)
                container[key(9)];
        });

        PlacedRow * const row = table[key(9)];

        ASSERT_NE(row, nullptr);
        EXPECT_EQ(table.find(key(9)), row);
        EXPECT_TRUE(table.sound());
        watch(table, [](auto &) {});
        EXPECT_EQ(table[key(9)], row) << "one row of that key";
    }
}

TEST(ContainerCorners, HandlerThatFillsTheContainerAgainIsSurvived)
{
    Filled table(4, 3);
    watch(table, [](auto & container) {
        watch(container, [](auto &) {});
        container.deleteOldest();
        container[key(30)];
        container.createSummaryStat(key(31));
    });

    PlacedRow const * const row = table[key(9)];

    EXPECT_EQ(table.find(key(9)), row);
    EXPECT_TRUE(table.sound());
}

// ---- ids ----

TEST(ContainerCorners, TwoDeletionsInARowLeaveATableThatFillsUpAgain)
{
    Filled table(6, 5);
    test::Deletions<PlacedRow> deletions(table);

    table.deleteOldest();
    table.deleteOldest();
    for (unsigned int number = 11; number <= 12; ++number)
        table[key(number)];

    EXPECT_EQ(deletions->size(), 2U) << "nothing went but those two";
    EXPECT_EQ(table.size(), 5U);
    EXPECT_TRUE(table.isFull());
    EXPECT_EQ(idsOf(table), (Ids{3, 4, 5, 2, 1}));
    EXPECT_TRUE(table.sound());
}

TEST(ContainerCorners, EarlySummaryRowStaysWhenTheTableFillsUp)
{
    Filled table(6, 1);
    test::Deletions<PlacedRow> deletions(table);
    PlacedRow const * const summary = table.createSummaryStat(key(0));

    for (unsigned int number = 2; number <= 5; ++number)
        table[key(number)];

    EXPECT_EQ(table.getSummaryStat(), summary);
    EXPECT_TRUE(deletions->empty());
    EXPECT_EQ(table.size(), 6U);
    EXPECT_EQ(idsOf(table), (Ids{1, 6, 3, 4, 5, 2})) << "the gap is filled last";
    EXPECT_TRUE(table.sound());
}

TEST(ContainerCorners, RowThatStandsInTheWayOfTheCountGoesNowhere)
{
    Table<PlacedRow> table(6);
    // A row that a transfer brought under a high id.
    ASSERT_EQ(test::unpack(table, test::bytes("03 00  01 00 07 00  00 00  00 00")), test::nothingRaised);
    for (unsigned int number = 2; number <= 5; ++number)
        table[key(number)];

    EXPECT_EQ(table.size(), 5U);
    EXPECT_EQ(table.ledger().rows, 0U);
    EXPECT_NE(table.find(key(1)), nullptr);
    EXPECT_TRUE(table.sound());
}

// ---- keys ----

TEST(ContainerCorners, FindAgreesWithTheKeyThatARowShows)
{
    Filled table(6, 3);
    PlacedRow * const row = table.getChildById(2U);

    row->address = key(20);
    EXPECT_EQ(std::as_const(table).find(key(20)), row) << "the new key is asked for first";
    EXPECT_EQ(table.find(key(2)), nullptr);
    EXPECT_TRUE(table.sound());

    row->address = key(21);
    EXPECT_EQ(table.find(key(20)), nullptr) << "the old one is";
    EXPECT_EQ(table.find(key(21)), row);

    row->takeKey(key(2));
    EXPECT_EQ(table.find(key(2)), row);
    EXPECT_EQ(table[key(2)], row);
}

TEST(ContainerCorners, RowThatWasResetInPlaceIsFoundByTheKeyThatItShows)
{
    Table<CStationStat> stations(10);
    auto const first = keyNumber<CMACAddrPacked>(1);
    CStationStat * const station = stations[first];

    station->reset();

    EXPECT_EQ(stations.find(first), nullptr);
    EXPECT_EQ(stations.find(CMACAddrPacked()), station);
    stations.deleteOldest();
    EXPECT_EQ(stations.size(), 0U);
    EXPECT_NE(stations[CMACAddrPacked()], nullptr);
    EXPECT_TRUE(stations.sound());
}

// A stream that names the key that the row had before.
TEST(ContainerCorners, TransferMeetsRowsThatWereChangedInPlace)
{
    Filled table(6, 3);
    table.getChildById(2U)->address = key(20);

    EXPECT_EQ(test::unpack(table, test::bytes("04 00  02 00 07 00  00 00  00 00")), test::nothingRaised);

    EXPECT_EQ(table.getChildById(4U)->address.get(), key(2));
    EXPECT_EQ(table.getChildById(2U)->address.get(), key(20)) << "another row by now";
    EXPECT_TRUE(table.sound());
}

// ---- the row of the others ----

using Pairs = Table<CIPConnectionStat>;
CIPConnectionStat::CKey const nobody;

CIPConnectionStat & pair(Pairs & table, CIPConnectionStat::CKey const & pairKey, unsigned int frames)
{
    CIPConnectionStat & row = *table[pairKey];
    row.framesTransmitted.add(frames);
    return row;
}

TEST(RowOfTheOthers, IsNotTheRowOfThePairOfZeros)
{
    Pairs table(5);
    CIPConnectionStat & real = pair(table, nobody, 3);

    CIPConnectionStat & summary = *table.createSummaryStat(nobody);

    EXPECT_NE(&summary, &real);
    EXPECT_EQ(real.getId(), 1U);
    EXPECT_EQ(real.framesTransmitted.get(), 3U);
    EXPECT_EQ(summary.framesTransmitted.get(), 0U);
    EXPECT_EQ(&pair(table, nobody, 4), &real);
    EXPECT_EQ(table.find(nobody), &real);
    EXPECT_EQ(table.createSummaryStat(nobody), &summary);
    EXPECT_TRUE(table.sound());
}

TEST(RowOfTheOthers, TakesNoTrafficOfThePairOfZeros)
{
    Pairs table(5);
    CIPConnectionStat & summary = *table.createSummaryStat(nobody);
    EXPECT_EQ(table.find(nobody), &summary) << "as long as there is no other";

    CIPConnectionStat & real = pair(table, nobody, 4);

    EXPECT_NE(&real, &summary);
    EXPECT_EQ(summary.framesTransmitted.get(), 0U);
    EXPECT_EQ(table.getSummaryStat(), &summary);
    EXPECT_TRUE(table.sound());
}

TEST(RowOfTheOthers, AndThePairOfZerosKeepTheirCountsInEveryTransfer)
{
    Pairs source(5);
    source.createSummaryStat(nobody)->framesTransmitted = 100U;
    pair(source, keyNumber<CIPConnectionStat::CKey>(9), 1);
    pair(source, nobody, 3);
    Pairs assigned(5);
    Pairs compared(5);
    Pairs received(5);

    for (int times = 0; times < 2; ++times) {
        assigned.assign(source);
        compared.compareAssign(source);
        ASSERT_EQ(test::unpack(received, test::packed(source, false)), test::nothingRaised);
        for (Pairs * const copy : {&assigned, &compared, &received}) {
            EXPECT_EQ(test::rowsOf(*copy), test::rowsOf(source));
            EXPECT_EQ(copy->getChildById(5U)->framesTransmitted.get(), 100U);
            EXPECT_EQ(copy->find(nobody), copy->getChildById(3U));
            EXPECT_TRUE(copy->sound());
        }
    }
}

TEST(RowOfTheOthers, GoesAloneWhenItIsTheOldest)
{
    Pairs table(4);
    pair(table, nobody, 3);
    pair(table, keyNumber<CIPConnectionStat::CKey>(9), 1);
    table.createSummaryStat(nobody)->framesTransmitted = 100U;
    table.renewed(nobody);
    table.renewed(keyNumber<CIPConnectionStat::CKey>(9));

    table.deleteOldest();

    EXPECT_EQ(table.getSummaryStat(), nullptr);
    EXPECT_EQ(table.find(nobody)->framesTransmitted.get(), 3U);
    EXPECT_EQ(table.ledger().framesTransmitted, 100U);
    EXPECT_TRUE(table.sound());
}

// ---- memory ----

TEST(ContainerMemory, NothingIsTakenBeforeTheFirstRow)
{
    test::Allocations const allocations;
    Table<CStationStat> table(65535);
    EXPECT_EQ(allocations.count(), 0);
    EXPECT_EQ(table.getChildById(1U), nullptr);
    EXPECT_EQ(table.find(CMACAddrPacked()), nullptr);
    table.reset();
    table.deleteOldest();
    EXPECT_EQ(allocations.count(), 0);
}

TEST(ContainerMemory, RowsNeverMove)
{
    Table<PlacedRow> table(5000);
    std::vector<PlacedRow *> rows;
    for (unsigned int number = 0; number < 4999; ++number)
        rows.push_back(table[CIPAddress(number * 2654435761U)]);

    for (unsigned int number = 0; number < 4999; ++number) {
        ASSERT_EQ(table.find(CIPAddress(number * 2654435761U)), rows[number]);
        ASSERT_EQ(table.getChildById(number + 1), rows[number]);
    }
    EXPECT_TRUE(table.isFull());
}

TEST(ContainerMemory, LargestTableHoldsItsRows)
{
    Table<CARPStat> table(65535);
    for (unsigned int number = 0; number < 65534 + 100; ++number)
        table[CIPAddress(number * 2654435761U)];

    EXPECT_EQ(table.size(), 65534U);
    EXPECT_TRUE(table.isFull());
    EXPECT_EQ(table.ledger().rows, 100U);
    EXPECT_EQ(table.createSummaryStat(CIPAddress(7))->getId(), 65535U);
    EXPECT_EQ(table.getOldestId(), 101U);
    EXPECT_EQ(table.find(CIPAddress(0)), nullptr);
    EXPECT_NE(table.find(CIPAddress(65633U * 2654435761U)), nullptr);
}

TEST(ContainerMemory, LimitThatIdsCannotReachIsRefused)
{
    auto const raised =
        test::raisedBy<CBaseHashedContainerStat::CException>([] { Table<CARPStat> const table(65536); });
    EXPECT_EQ(raised.code, 2);
}

// Every allocation on the way to 40 rows fails once.
TEST(ContainerMemory, FailedAllocationLosesNothing)
{
    Table<CIPConnectionStat> table(40);
    CIPConnectionStat::groupDescription();
    auto const number = [](unsigned int n) { return keyNumber<CIPConnectionStat::CKey>(n * 7919); };
    unsigned int failures = 0;
    for (unsigned int n = 0; n < 39; ++n) {
        for (long after = 0;; ++after) {
            CIPConnectionStat * row = nullptr;
            try {
                MemoryRunsOut const soon(after);
                row = table[number(n)];
            } catch (std::bad_alloc const &) {
                ++failures;
            }
            if (row)
                break;
            ASSERT_EQ(table.size(), n);
            ASSERT_TRUE(table.sound());
        }
        ASSERT_EQ(table.getNewestId(), n + 1);
    }
    EXPECT_GT(failures, 5U);
    EXPECT_TRUE(table.isFull());
    EXPECT_TRUE(table.sound());
}

TEST(ContainerMemory, FullTableEvictsWithoutMemory)
{
    Table<CStationStat> table(5);
    for (unsigned int n = 0; n < 4; ++n)
        table[keyNumber<CMACAddrPacked>(n)]->framesTransmitted = n + 1;
    std::vector<CMACAddrPacked> others;
    for (unsigned int n = 4; n < 100; ++n)
        others.push_back(keyNumber<CMACAddrPacked>(n));

    {
        MemoryRunsOut const now(0);
        for (CMACAddrPacked const & other : others)
            ASSERT_NE(table[other], nullptr);
    }

    EXPECT_EQ(table.size(), 4U);
    EXPECT_EQ(table.ledger().rows, 96U);
    EXPECT_TRUE(table.sound());
}

// A row class whose construction takes memory: eviction may find none.
class Hungry : public schema::CUnfilteredContainerStat
{
public:
    using CHasher = test::PlacedHasher;
    using Container = CHashedContainerStat<Hungry, CIPAddress, CHasher>;

    Hungry(CBaseStat * theParent, unsigned short theId, CIPAddress const & theKey)
        : CUnfilteredContainerStat(theParent, theId, groupDescription()),
          food(new int(0))
    {
        address = theKey;
    }
    static CStructStatDescription const & groupDescription()
    {
        static CStructStatDescription const description(1151, columnDescriptions());
        return description;
    }
    CIPAddress const & rowKey() const { return address.get(); }
    void takeKey(CIPAddress const & theKey) { address = theKey; }

    // clang-format off
#define COLUMNS(COLUMN)                                                   \
    COLUMN(1, address,           schema::IpAddress<1153>)                 \
    COLUMN(2, framesTransmitted, schema::FramesTransmitted)
    KETSTATS_COLUMNS(Hungry, COLUMNS)
#undef COLUMNS
    // clang-format on

    std::unique_ptr<int> food;
};

TEST(ContainerMemory, EvictionForARowThatCannotBeBuiltLosesNoIndex)
{
    Table<Hungry> table(4);
    for (unsigned int n = 1; n <= 3; ++n)
        table[key(n)]->framesTransmitted = n;

    for (unsigned int n = 4; n <= 6; ++n) {
        MemoryRunsOut const now(0);
        EXPECT_THROW(table[key(n)], std::bad_alloc);
    }

    EXPECT_EQ(table.size(), 2U) << "one gave way, once";
    EXPECT_EQ(table.ledger().rows, 1U);
    EXPECT_EQ(table.ledger().framesTransmitted, 1U);
    EXPECT_EQ(table[key(7)]->getId(), 1U);
    EXPECT_EQ(table[key(8)]->getId(), 2U) << "the table is full again and evicts";
    EXPECT_EQ(table.size(), 3U);
    EXPECT_TRUE(table.sound());
}

} // namespace
