#include "tests/support/Bytes.h"
#include "tests/support/Raised.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <memory>

using namespace KetStats;
using ktools::CMemoryBuffer;
using test::Bytes;
using test::bytes;
using test::Deletions;
using test::keyBytes;
using test::keyFrom;
using test::keyNumber;
using test::KeyOf;
using test::nothingRaised;
using test::packed;
using test::place;
using test::PlacedRow;
using test::Raised;
using test::rowsOf;
using test::setValue;
using test::Shown;
using test::Table;
using test::unpack;
using test::valueOf;

namespace {

using Ids = std::vector<unsigned int>;
using Shows = std::vector<Shown>;

Bytes operator+(Bytes front, Bytes const & back)
{
    front.insert(front.end(), back.begin(), back.end());
    return front;
}

// Key number `number`; all numbers collide. It lies in memory as `number` 00 07 00.
CIPAddress key(unsigned int number)
{
    return place(7, 1, number);
}

Shown shown(unsigned int id, unsigned int number, unsigned int value)
{
    return {id, keyBytes(key(number)), value};
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

template <class Container>
Ids idsOf(Container const & container)
{
    Ids ids;
    for (unsigned int id = container.getOldestId(); id != 0; id = container.getNextNewerId(id))
        ids.push_back(id);
    return ids;
}

// The ids of the rows whose flag is up, from the oldest to the newest.
template <class Container>
Ids flagged(Container & container)
{
    Ids ids;
    for (unsigned int const id : idsOf(container))
        if (container.getChildById(id)->isChanged())
            ids.push_back(id);
    return ids;
}

Raised const endOfBuffer{1, "MemoryBuffer", 184, true};

// ---- packed form ----

TEST(HashedTransfer, EmptyContainerPacksToTheEndMark)
{
    Table<PlacedRow> table(5);
    EXPECT_EQ(packed(table, false), bytes("00 00"));
    EXPECT_TRUE(table.isChanged());
    EXPECT_EQ(packed(table, true), bytes("00 00"));
    EXPECT_FALSE(table.isChanged());
}

TEST(HashedTransfer, EndMarkAloneRaisesTheFlag)
{
    Filled table(5, 2);
    table.resetChanged();

    EXPECT_EQ(unpack(table, bytes("00 00")), nothingRaised);

    EXPECT_TRUE(table.isChanged());
    EXPECT_EQ(rowsOf(table), (Shows{shown(1, 1, 10), shown(2, 2, 20)}));
    EXPECT_EQ(flagged(table), Ids{});
}

TEST(HashedTransfer, StationPacksItsIdItsKeyAndItsColumns)
{
    Table<CStationStat> table(200);
    table[keyNumber<CMACAddrPacked>(1)];
    table[keyNumber<CMACAddrPacked>(2)];
    CStationStat & station = *table[keyFrom<CMACAddrPacked>(bytes("00 11 22 33 44 55"))];
    station.dataTransmitted = 0x0102030405060708LL;
    station.framesTransmitted = 0x0A0B0C0DU;
    station.dataReceived = 1LL;
    station.framesReceived = 2U;
    station.percentage = percentVal(1.0);
    setValue(*station.tcpPorts[keyFrom<CProtocolIdPacked>(bytes("00 00 00 00 00 50"))], 3);
    station.vlanId = "7";
    table.resetChanged();
    station.setChanged();

    EXPECT_EQ(packed(table, true), bytes("03 00  00 11 22 33 44 55"           // row 3, its key
                                         "01 00  00 11 22 33 44 55"           // address
                                         "02 00  08 07 06 05 04 03 02 01"     // data transmitted
                                         "03 00  0d 0c 0b 0a"                 // frames transmitted
                                         "04 00  01 00 00 00 00 00 00 00"     // data received
                                         "05 00  02 00 00 00"                 // frames received
                                         "06 00  00 00 00 00 00 00 f0 3f"     // percentage, 1.0
                                         "07 00"                              // TCP ports:
                                         "  01 00  00 00 00 00 00 50"         //   row 1, its key
                                         "    01 00  00 00 00 00 00 50"       //     port
                                         "    02 00  00 00 00 00 00 00 00 00" //     data transmitted
                                         "    03 00  03 00 00 00"             //     frames transmitted
                                         "    04 00  00 00 00 00 00 00 00 00" //     data received
                                         "    05 00  00 00 00 00"             //     frames received
                                         "    00 00"                          //     end of the row
                                         "  00 00"                            //   end of the ports
                                         "08 00  00 00"                       // UDP ports: none
                                         "09 00  01 00 37"                    // VLAN id, a text
                                         "00 00"                              // end of the row
                                         "00 00"));                           // end of the table
}

TEST(HashedTransfer, RowsArePackedFromTheOldestToTheNewest)
{
    Table<CARPStat> table(200);
    table.createIfNew(keyFrom<CIPAddress>(bytes("0a 00 00 01")),
                      keyFrom<CMACAddrPacked>(bytes("02 00 00 00 00 0a")));
    table.createIfNew(keyFrom<CIPAddress>(bytes("c0 a8 00 02")),
                      keyFrom<CMACAddrPacked>(bytes("02 00 00 00 00 0b")));
    table.renew(table.getOldest());

    EXPECT_EQ(packed(table, false), bytes("02 00  c0 a8 00 02"       // row 2, its key
                                          "01 00  02 00 00 00 00 0b" // MAC address
                                          "02 00  c0 a8 00 02"       // IP address
                                          "00 00"                    // end of the row
                                          "01 00  0a 00 00 01"       // row 1, its key
                                          "01 00  02 00 00 00 00 0a" // MAC address
                                          "02 00  0a 00 00 01"       // IP address
                                          "00 00"                    // end of the row
                                          "00 00"));                 // end of the table
}

TEST(HashedTransfer, KeysOfConnectionsAreTheFirstAddressAndTheSecond)
{
    Table<CMACConnectionStat> macs(200);
    macs[keyFrom<CMACConnectionStat::CKey>(bytes("00 11 22 33 44 55  66 77 88 99 aa bb"))]->resetChanged();
    macs.getOldest()->CBaseStat::setChanged();
    EXPECT_EQ(packed(macs, true),
              bytes("01 00  00 11 22 33 44 55  66 77 88 99 aa bb" // row 1, source, destination
                    "00 00"                                       // no column is flagged
                    "00 00"));

    Table<CIPConnectionStat> addresses(1000);
    addresses[keyFrom<CIPConnectionStat::CKey>(bytes("0a 00 00 01  0a 00 00 02"))]->resetChanged();
    addresses.getOldest()->CBaseStat::setChanged();
    EXPECT_EQ(packed(addresses, true), bytes("01 00  0a 00 00 01  0a 00 00 02"
                                             "00 00"
                                             "00 00"));
}

TEST(HashedTransfer, FullPackMovesNoFlag)
{
    Filled table(5, 3);
    table.resetChanged();
    table.getChildById(2U)->setChanged();
    table.changed = true;

    packed(table, false);

    EXPECT_EQ(flagged(table), (Ids{2}));
    EXPECT_TRUE(table.isChanged());
}

TEST(HashedTransfer, PackOfChangedWritesFlaggedRowsAndLowersTheirFlags)
{
    Filled table(5, 3);
    table.resetChanged();
    table.changed = true;
    table.getChildById(2U)->setChanged();
    table.getChildById(2U)->address.resetChanged();

    EXPECT_EQ(packed(table, true), bytes("02 00  02 00 07 00" // row 2, its key
                                         "02 00  14 00 00 00" // frames transmitted
                                         "00 00"              // end of the row
                                         "00 00"));           // end of the table

    EXPECT_EQ(flagged(table), Ids{});
    EXPECT_FALSE(table.getChildById(2U)->framesTransmitted.isChanged());
    EXPECT_FALSE(table.isChanged());
    EXPECT_EQ(packed(table, true), bytes("00 00"));
}

// ---- reading ----

// A row with its value, in packed form.
Bytes packedRow(unsigned int id, unsigned int number, unsigned int value)
{
    auto const low = [](unsigned int part) { return static_cast<unsigned char>(part); };
    return Bytes{low(id), low(id >> 8), low(number), 0, 7, 0} + bytes("02 00") +
           Bytes{low(value), low(value >> 8), low(value >> 16), low(value >> 24)} + bytes("00 00");
}

Bytes const endMark = bytes("00 00");

TEST(HashedTransfer, KnownRowIsUpdatedInPlaceAndBecomesTheNewest)
{
    Filled table(5, 3);
    Deletions<PlacedRow> deletions(table);
    table.resetChanged();
    PlacedRow const * const row = table.getChildById(1U);

    EXPECT_EQ(unpack(table, packedRow(1, 1, 99) + endMark), nothingRaised);

    EXPECT_EQ(table.getChildById(1U), row);
    EXPECT_EQ(rowsOf(table), (Shows{shown(2, 2, 20), shown(3, 3, 30), shown(1, 1, 99)}));
    EXPECT_EQ(flagged(table), (Ids{1}));
    EXPECT_FALSE(row->address.isChanged()) << "the stream doesn't bring it";
    EXPECT_TRUE(table.isChanged());
    EXPECT_TRUE(deletions->empty());
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, NewKeyUnderAKnownIdReplacesTheRow)
{
    Filled table(5, 3);
    Deletions<PlacedRow> deletions(table);

    EXPECT_EQ(unpack(table, packedRow(2, 9, 99) + endMark), nothingRaised);

    EXPECT_EQ(rowsOf(table), (Shows{shown(1, 1, 10), shown(3, 3, 30), shown(2, 9, 99)}));
    EXPECT_EQ(table.find(key(2)), nullptr);
    ASSERT_EQ(deletions->size(), 1U);
    EXPECT_EQ(deletions->front().number, 2U) << "the id, not the index";
    EXPECT_EQ(deletions->front().keyOfId, keyBytes(key(2))) << "the row is still there";
    EXPECT_EQ(PlacedRow::living().size(), 3U);
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, ReplacedRowLeavesNoValuesToTheNewOne)
{
    Filled table(5, 3);

    EXPECT_EQ(unpack(table, bytes("02 00  09 00 07 00  00 00  00 00")), nothingRaised);

    EXPECT_EQ(table.getChildById(2U)->framesTransmitted.get(), 0U);
    EXPECT_TRUE(table.getChildById(2U)->isChanged());
}

TEST(HashedTransfer, KnownKeyUnderANewIdMovesTheRow)
{
    Filled table(6, 3);
    Deletions<PlacedRow> deletions(table);
    table.resetChanged();
    PlacedRow const * const row = table.getChildById(1U);

    EXPECT_EQ(unpack(table, bytes("04 00  01 00 07 00  00 00  00 00")), nothingRaised);

    EXPECT_EQ(table.getChildById(4U), row);
    EXPECT_EQ(table.getChildById(1U), nullptr);
    EXPECT_EQ(rowsOf(table), (Shows{shown(2, 2, 20), shown(3, 3, 30), shown(4, 1, 10)}));
    EXPECT_EQ(flagged(table), (Ids{4}));
    EXPECT_TRUE(row->framesTransmitted.isChanged()) << "a moved row is flagged with all its columns";
    EXPECT_TRUE(row->address.isChanged());
    EXPECT_TRUE(deletions->empty());
    EXPECT_EQ(table.size(), 3U);
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, MovedStationKeepsItsPorts)
{
    Table<CStationStat> table(5);
    auto const address = keyFrom<CMACAddrPacked>(bytes("00 11 22 33 44 55"));
    CStationStat & station = *table[address];
    station.framesReceived = 5U;
    setValue(*station.tcpPorts[keyNumber<CProtocolIdPacked>(80)], 6);
    setValue(*station.tcpPorts[keyNumber<CProtocolIdPacked>(443)], 7);
    auto const ports = rowsOf(station.tcpPorts);

    EXPECT_EQ(unpack(table, bytes("03 00  00 11 22 33 44 55  00 00  00 00")), nothingRaised);

    EXPECT_EQ(table.find(address), &station);
    EXPECT_EQ(station.getId(), 3U);
    EXPECT_EQ(station.framesReceived.get(), 5U);
    EXPECT_EQ(rowsOf(station.tcpPorts), ports);
    EXPECT_EQ(station.tcpPorts.getOid().toString(), "1.3.7");
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, RowMovesToTheIdOfOneThatGoes)
{
    Filled table(5, 3);
    Deletions<PlacedRow> deletions(table);

    EXPECT_EQ(unpack(table, packedRow(2, 1, 99) + packedRow(1, 3, 98) + endMark), nothingRaised);

    EXPECT_EQ(rowsOf(table), (Shows{shown(2, 1, 99), shown(1, 3, 98)}));
    EXPECT_EQ(deletions->size(), 1U) << "the row 1 had moved away when its id was taken";
    EXPECT_EQ(deletions->front().number, 2U);
    EXPECT_EQ(PlacedRow::living().size(), 2U);
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, RowsThatTheStreamDoesNotNameStayAndAreOlder)
{
    Filled table(6, 4);
    Filled source(6, 1);
    add(source, key(2), 21);

    EXPECT_EQ(unpack(table, packed(source, false)), nothingRaised);

    EXPECT_EQ(rowsOf(table), (Shows{shown(3, 3, 30), shown(4, 4, 40), shown(1, 1, 10), shown(2, 2, 21)}));
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, FreshContainerTakesRowsIdsAndOrder)
{
    Filled source(5, 4);
    source.renew(source.getChildById(2U));
    source[key(5)];
    Table<PlacedRow> table(5);

    EXPECT_EQ(unpack(table, packed(source, false)), nothingRaised);

    EXPECT_EQ(rowsOf(table), rowsOf(source));
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, SummaryRowArrivesAsAnOrdinaryRow)
{
    Filled source(4, 3);
    source.createSummaryStat(key(0));
    source.renew(source.getChildById(2U));
    Table<PlacedRow> table(4);

    EXPECT_EQ(unpack(table, packed(source, false)), nothingRaised);

    EXPECT_EQ(rowsOf(table), rowsOf(source));
    EXPECT_EQ(idsOf(table), (Ids{1, 3, 4, 2}));
    EXPECT_EQ(table.getSummaryStat(), nullptr);
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, SummaryRowOfTheReceiverStaysWhatItIs)
{
    Filled source(4, 3);
    source.createSummaryStat(key(0));
    Table<PlacedRow> table(4);
    PlacedRow const * const summary = table.createSummaryStat(key(0));

    EXPECT_EQ(unpack(table, packed(source, false)), nothingRaised);

    EXPECT_EQ(table.getSummaryStat(), summary);
    EXPECT_EQ(rowsOf(table), rowsOf(source));

    EXPECT_EQ(unpack(table, packedRow(4, 8, 1) + endMark), nothingRaised);
    EXPECT_TRUE(table.sound()) << "no summary row is left, nor a pointer to it";
}

TEST(HashedTransfer, ReplacementLeavesTheGivenUpIndexAlone)
{
    Filled table(6, 4);
    table.deleteOldest();

    EXPECT_EQ(unpack(table, packedRow(3, 9, 1) + packedRow(5, 2, 1) + endMark), nothingRaised);

    EXPECT_EQ(table.freeIdx, 0U);
    EXPECT_EQ(table[key(12)]->getId(), 1U);
}

// Folds rows that go into the summary row, as a host does that must not lose traffic.
void fold(PlacedRow::Container * container, unsigned int rowId)
{
    unsigned int const frames = container->getChildById(rowId)->framesTransmitted;
    if (!container->getSummaryStat())
        container->createSummaryStat(place(7, 1, 0));
    container->getSummaryStat()->framesTransmitted.add(frames);
}

TEST(HashedTransfer, HandlerMayFoldRowsIntoASummaryRow)
{
    Filled table(5, 4);
    table.registerDeleteHandler(&fold);

    EXPECT_EQ(unpack(table, packedRow(2, 8, 1) + packedRow(3, 9, 2) + endMark), nothingRaised);

    EXPECT_EQ(rowsOf(table), (Shows{shown(1, 1, 10), shown(4, 4, 40), shown(5, 0, 20 + 30), shown(2, 8, 1),
                                    shown(3, 9, 2)}));
    EXPECT_EQ(table.getSummaryStat(), table.getChildById(5U));
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, SummaryRowMayTakeTheKeyOfTheRowThatArrives)
{
    Filled table(5, 4);
    table.registerDeleteHandler(&fold);

    EXPECT_EQ(unpack(table, packedRow(2, 0, 7) + endMark), nothingRaised);

    EXPECT_TRUE(table.sound());
    EXPECT_EQ(table.find(key(0)), table.getChildById(2U));
    EXPECT_EQ(PlacedRow::living().size(), table.size());
}

// ---- streams that don't fit ----

TEST(HashedTransfer, IdsAboveTheLimitAreRefusedBeforeAnythingIsWritten)
{
    for (unsigned int const id : {6U, 7U, 0x100U, 0xFFFFU}) {
        SCOPED_TRACE(id);
        Filled table(5, 2);
        Deletions<PlacedRow> deletions(table);
        table.resetChanged();

        Raised const raised = unpack(table, packedRow(1, 1, 99) + packedRow(id, 2, 98) + endMark);

        EXPECT_EQ(raised.code, 2);
        EXPECT_EQ(raised.source, "StatTypes");
        EXPECT_EQ(rowsOf(table), (Shows{shown(2, 2, 20), shown(1, 1, 99)})) << "what was read before is kept";
        EXPECT_FALSE(table.isChanged());
        EXPECT_TRUE(deletions->empty());
        EXPECT_TRUE(table.sound());
    }
}

TEST(HashedTransfer, TheLimitItselfIsAnId)
{
    Filled table(5, 2);
    EXPECT_EQ(unpack(table, packedRow(5, 9, 1) + endMark), nothingRaised);
    EXPECT_EQ(table.find(key(9))->getId(), 5U);
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, EveryIdMayHoldARow)
{
    Table<PlacedRow> table(5);
    Bytes stream;
    for (unsigned int id = 1; id <= 5; ++id)
        stream = stream + packedRow(id, id, id);

    EXPECT_EQ(unpack(table, stream + endMark), nothingRaised);
    EXPECT_EQ(table.size(), 5U);
    EXPECT_TRUE(table.isFull());
    EXPECT_TRUE(table.sound());

    // All of them change places, each going where the one before it stands.
    stream.clear();
    for (unsigned int id = 1; id <= 5; ++id)
        stream = stream + packedRow(id, id % 5 + 1, id);
    EXPECT_EQ(unpack(table, stream + endMark), nothingRaised);
    EXPECT_TRUE(table.sound());
    EXPECT_EQ(idsOf(table), (Ids{1, 2, 3, 4, 5}));
}

TEST(HashedTransfer, TablesWithoutRoomRefuseEveryRow)
{
    Table<PlacedRow> table(0);
    EXPECT_EQ(unpack(table, packedRow(1, 1, 1) + endMark).code, 2);
    EXPECT_EQ(unpack(table, endMark), nothingRaised);
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, InterruptedReadingKeepsTheRowsReadBefore)
{
    Filled table(5, 2);
    table.resetChanged();
    Bytes stream = packedRow(2, 2, 99) + packedRow(3, 3, 98);
    stream.resize(stream.size() - 4);

    EXPECT_EQ(unpack(table, stream), endOfBuffer);

    EXPECT_EQ(table.getChildById(2U)->framesTransmitted.get(), 99U);
    EXPECT_FALSE(table.isChanged());
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, UnknownColumnsFailInTheRow)
{
    Filled table(5, 2);
    table.resetChanged();

    EXPECT_EQ(unpack(table, bytes("01 00  01 00 07 00  03 00 00 00")), (Raised{2, "StatTypes", 283, true}));

    EXPECT_FALSE(table.isChanged());
    EXPECT_TRUE(table.sound());
}

// ---- every kind of row ----

template <class Row>
class HashedTransferOf : public testing::Test
{
protected:
    using Key = KeyOf<Row>;
    static constexpr unsigned int limit = 6;

    // Keys that share their parts: pairs of addresses among them.
    static Key keyOf(unsigned int number)
    {
        Bytes content(sizeof(Key), 1);
        content.front() = static_cast<unsigned char>(number);
        content.back() = static_cast<unsigned char>(number / 2);
        return keyFrom<Key>(content);
    }

    static void addWithPorts(Table<Row> & table, unsigned int number, unsigned int value)
    {
        Row & row = add(table, keyOf(number), value);
        if constexpr (requires { row.tcpPorts; }) {
            setValue(*row.tcpPorts[keyNumber<CProtocolIdPacked>(number)], value);
            setValue(*row.tcpPorts[keyNumber<CProtocolIdPacked>(number + 1)], value + 1);
            setValue(*row.udpPorts[keyNumber<CProtocolIdPacked>(number)], value + 2);
        }
    }

    // Four rows, the oldest with the id 3.
    static void fillSource(Table<Row> & table)
    {
        for (unsigned int number = 1; number <= 4; ++number)
            addWithPorts(table, number, number * 0x01020304);
        table.renew(table.getChildById(1U));
        table.renew(table.getChildById(2U));
    }

    // Some of the same keys under the same ids, some under others, and some other keys.
    static void fillOther(Table<Row> & table)
    {
        for (unsigned int const number : {1U, 3U, 9U, 2U, 8U})
            addWithPorts(table, number, number + 500);
        table.renew(table.getChildById(2U));
    }

    // One row whose key column holds another key than its own.
    static Bytes strayRow(unsigned int ownNumber, unsigned int shownNumber)
    {
        Table<Row> table(limit);
        addWithPorts(table, shownNumber, 5);
        Bytes stream = packed(table, false);
        Bytes const own = keyBytes(keyOf(ownNumber));
        std::copy(own.begin(), own.end(), stream.begin() + 2);
        return stream;
    }

    // What it says still reads, into the same rows.
    static testing::AssertionResult readsBack(Table<Row> & table)
    {
        Table<Row> copy(limit);
        if (Raised const raised = unpack(copy, packed(table, false)); !(raised == nothingRaised))
            return testing::AssertionFailure() << raised;
        if (rowsOf(copy) != rowsOf(table))
            return testing::AssertionFailure() << testing::PrintToString(rowsOf(copy)) << " read from "
                                               << testing::PrintToString(rowsOf(table));
        return copy.sound();
    }
};
TYPED_TEST_SUITE(HashedTransferOf, test::RowKinds, test::RowKindNames);

TYPED_TEST(HashedTransferOf, FullStreamCarriesIdsKeysValuesAndOrder)
{
    Table<TypeParam> source(this->limit);
    Table<TypeParam> fresh(this->limit);
    Table<TypeParam> filled(this->limit);
    this->fillSource(source);
    this->fillOther(filled);

    EXPECT_EQ(unpack(fresh, packed(source, false)), nothingRaised);
    EXPECT_EQ(unpack(filled, packed(source, false)), nothingRaised);

    EXPECT_EQ(rowsOf(fresh), rowsOf(source));
    EXPECT_EQ(packed(fresh, false), packed(source, false));
    EXPECT_TRUE(fresh.sound());
    EXPECT_TRUE(filled.sound());
    auto const rows = rowsOf(filled);
    EXPECT_EQ(Shows(rows.end() - 4, rows.end()), rowsOf(source)) << "the newest rows are those of the stream";
}

TYPED_TEST(HashedTransferOf, CutStreamsFailInTheBufferAtEveryLength)
{
    Table<TypeParam> source(this->limit);
    this->fillSource(source);
    Bytes const whole = packed(source, false);

    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(testing::Message() << "cut at " << length);
        Bytes const stream(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        Table<TypeParam> fresh(this->limit);
        Table<TypeParam> filled(this->limit);
        this->fillOther(filled);
        fresh.resetChanged();
        filled.resetChanged();

        ASSERT_EQ(unpack(fresh, stream), endOfBuffer);
        ASSERT_EQ(unpack(filled, stream), endOfBuffer);

        ASSERT_FALSE(fresh.isChanged());
        ASSERT_FALSE(filled.isChanged());
        ASSERT_TRUE(fresh.sound());
        ASSERT_TRUE(filled.sound());
        ASSERT_EQ(unpack(fresh, whole), nothingRaised);
        ASSERT_EQ(rowsOf(fresh), rowsOf(source)) << "the next stream sets it right";
    }
}

TYPED_TEST(HashedTransferOf, DamagedStreamsLeaveTheContainerWhole)
{
    Table<TypeParam> source(this->limit);
    this->fillSource(source);
    Bytes const whole = packed(source, false);

    for (std::size_t at = 0; at < whole.size(); ++at) {
        unsigned int const good = whole[at];
        for (unsigned int const bad : {good ^ 1, good ^ 2, good ^ 4, good ^ 8, good ^ 0x10, good ^ 0x20,
                                       good ^ 0x40, good ^ 0x80, good + 1, good - 1, 0U, 0xFFU}) {
            SCOPED_TRACE(testing::Message() << "byte " << at << " is " << (bad & 0xFF) << ", not " << good);
            Bytes stream = whole;
            stream[at] = static_cast<unsigned char>(bad);
            Table<TypeParam> fresh(this->limit);
            Table<TypeParam> filled(this->limit);
            this->fillOther(filled);

            unpack(fresh, stream);
            unpack(filled, stream);

            ASSERT_TRUE(fresh.sound());
            ASSERT_TRUE(filled.sound());
            ASSERT_TRUE(this->readsBack(fresh));
            ASSERT_TRUE(this->readsBack(filled));
        }
    }
}

TYPED_TEST(HashedTransferOf, RowThatShowsAnotherKeyThanItsOwnIsRefused)
{
    Table<TypeParam> fresh(this->limit);
    Table<TypeParam> known(this->limit);
    Table<TypeParam> filled(this->limit);
    this->addWithPorts(known, 1, 1);
    this->addWithPorts(filled, 1, 1);
    this->addWithPorts(filled, 2, 2);
    Bytes const stream = this->strayRow(1, 2);

    for (Table<TypeParam> * const table : {&fresh, &known, &filled}) {
        table->resetChanged();

        Raised const raised = unpack(*table, stream);

        EXPECT_EQ(raised.code, 2) << "table of " << table->size();
        EXPECT_EQ(raised.source, "StatTypes");
        EXPECT_FALSE(table->isChanged());
        EXPECT_TRUE(table->sound());
        EXPECT_TRUE(this->readsBack(*table));
    }
    EXPECT_NE(known.find(this->keyOf(1)), nullptr);
    EXPECT_EQ(known.find(this->keyOf(2)), nullptr);
}

TYPED_TEST(HashedTransferOf, RowThatShowsAnotherKeyIsRefusedWhereverTheStreamEnds)
{
    Bytes const whole = this->strayRow(1, 2);

    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(testing::Message() << "cut at " << length);
        Bytes const stream(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        Table<TypeParam> filled(this->limit);
        this->addWithPorts(filled, 1, 1);
        this->addWithPorts(filled, 2, 2);

        ASSERT_NE(unpack(filled, stream), nothingRaised);

        ASSERT_TRUE(filled.sound());
        ASSERT_TRUE(this->readsBack(filled));
    }
}

// ---- assign ----

TEST(HashedTransfer, AssignTakesRowsAndOrderAndRaisesEveryFlag)
{
    Filled source(5, 4);
    source.renew(source.getChildById(2U));
    source.resetChanged();
    Filled table(5, 2);
    Deletions<PlacedRow> deletions(table);
    table.resetChanged();

    table.assign(source);

    EXPECT_EQ(rowsOf(table), rowsOf(source));
    EXPECT_EQ(flagged(table), (Ids{1, 3, 4, 2}));
    EXPECT_TRUE(table.getChildById(3U)->framesTransmitted.isChanged());
    EXPECT_TRUE(table.isChanged());
    EXPECT_TRUE(deletions->empty()) << "clearing announces nothing";
    EXPECT_EQ(PlacedRow::living().size(), 8U);
    EXPECT_TRUE(table.sound());
    EXPECT_EQ(flagged(source), Ids{});
}

TEST(HashedTransfer, AssignLeavesHandlersWhereTheyAre)
{
    Filled source(3, 2);
    Filled table(3, 2);
    Deletions<PlacedRow> deletions(source);

    table.assign(source);
    table.deleteOldest();
    EXPECT_TRUE(deletions->empty()) << "the handler is the source's";

    table.registerDeleteHandler(&Deletions<PlacedRow>::record);
    table.assign(source);
    table.deleteOldest();
    EXPECT_EQ(deletions->size(), 1U) << "the handler stays";
}

TEST(HashedTransfer, AssignedSummaryRowIsAnOrdinaryOne)
{
    Filled source(4, 3);
    setValue(*source.createSummaryStat(key(0)), 7);
    Table<PlacedRow> table(4);
    table.createSummaryStat(key(9));

    table.assign(source);

    EXPECT_EQ(table.getSummaryStat(), nullptr);
    EXPECT_EQ(table.find(key(0)), table.getChildById(4U));
    EXPECT_EQ(rowsOf(table), rowsOf(source));
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, AssignOfAnEmptyContainerEmpties)
{
    Table<PlacedRow> const source(5);
    Filled table(5, 4);
    table.deleteOldest();

    table.assign(source);

    EXPECT_EQ(table.size(), 0U);
    EXPECT_EQ(table.freeIdx, 5U);
    EXPECT_TRUE(table.sound());
    EXPECT_EQ(table[key(1)]->getId(), 1U);
}

TYPED_TEST(HashedTransferOf, AssignedContainerPacksAllOfItNext)
{
    Table<TypeParam> source(this->limit);
    Table<TypeParam> table(this->limit);
    this->fillSource(source);
    this->fillOther(table);

    table.assign(source);

    EXPECT_TRUE(table.sound());
    Bytes const all = packed(source, false);
    EXPECT_EQ(packed(table, true), all);
    EXPECT_EQ(packed(table, true), bytes("00 00"));
}

// ---- reset ----

TEST(HashedTransfer, ResetMakesEverySlotFreeAgain)
{
    Table<PlacedRow> table(5);
    for (unsigned int number = 0; number < 300; ++number)
        table[place(number % 251, 1, 3)];
    Deletions<PlacedRow> deletions(table);
    table.resetChanged();

    table.reset();

    EXPECT_FALSE(table.isChanged()) << "the flag stays";
    EXPECT_EQ(table.size(), 0U);
    EXPECT_EQ(table.freeIdx, 5U);
    EXPECT_TRUE(PlacedRow::living().empty());
    EXPECT_TRUE(table.sound());
    for (unsigned int number = 1; number <= 4; ++number)
        EXPECT_EQ(table[key(number)]->getId(), number);
    EXPECT_TRUE(deletions->empty());
}

// ---- compare and assign ----

TEST(HashedTransfer, EqualContainersFlagNoRow)
{
    Filled source(6, 4);
    Table<PlacedRow> table(6);
    table.assign(source);
    table.resetChanged();

    EXPECT_FALSE(table.compareAssign(source));
    EXPECT_EQ(flagged(table), Ids{});
    EXPECT_FALSE(table.getChildById(1U)->framesTransmitted.isChanged());

    table.changed = true;
    EXPECT_TRUE(table.compareAssign(source)) << "the flag as it stood";
    EXPECT_EQ(flagged(table), Ids{});
}

TEST(HashedTransfer, EmptySourceYieldsTheFlagAsItStood)
{
    Table<PlacedRow> const source(6);
    Filled table(6, 2);
    EXPECT_TRUE(table.compareAssign(source));
    table.resetChanged();
    EXPECT_FALSE(table.compareAssign(source));
    EXPECT_EQ(rowsOf(table), (Shows{shown(1, 1, 10), shown(2, 2, 20)}))
        << "there is no message for a deletion";
}

TEST(HashedTransfer, RowsBehindAChangedOneAreFlaggedFully)
{
    Filled source(6, 5);
    Table<PlacedRow> table(6);
    table.assign(source);
    table.resetChanged();
    setValue(*source.getChildById(2U), 99);

    EXPECT_TRUE(table.compareAssign(source));

    EXPECT_EQ(flagged(table), (Ids{2, 3, 4, 5}));
    EXPECT_TRUE(table.getChildById(2U)->framesTransmitted.isChanged());
    EXPECT_FALSE(table.getChildById(2U)->address.isChanged()) << "the changed row by what differs";
    EXPECT_TRUE(table.getChildById(3U)->framesTransmitted.isChanged());
    EXPECT_TRUE(table.getChildById(3U)->address.isChanged());
    EXPECT_EQ(rowsOf(table), rowsOf(source));
    EXPECT_TRUE(table.isChanged());
}

TEST(HashedTransfer, NewRowIsFlaggedByWhatDiffersAndThoseBehindItFully)
{
    Filled source(6, 3);
    Table<PlacedRow> table(6);
    table.assign(source);
    table.resetChanged();
    add(source, key(4), 40);
    add(source, key(5), 0);

    EXPECT_TRUE(table.compareAssign(source));

    EXPECT_EQ(flagged(table), (Ids{4, 5}));
    EXPECT_TRUE(table.getChildById(4U)->framesTransmitted.isChanged());
    EXPECT_FALSE(table.getChildById(4U)->address.isChanged());
    EXPECT_TRUE(table.getChildById(5U)->address.isChanged()) << "new and equal: flagged fully";
    EXPECT_EQ(rowsOf(table), rowsOf(source));
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, MatchedRowsTakeTheOrderOfTheSource)
{
    Filled source(6, 5);
    Table<PlacedRow> table(6);
    table.assign(source);
    for (unsigned int const id : {4U, 1U, 3U})
        source.renew(source.getChildById(id));

    table.compareAssign(source);

    EXPECT_EQ(idsOf(table), (Ids{2, 5, 4, 1, 3}));
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, RowsThatTheSourceLostStayUnflaggedAndAreOlder)
{
    Filled source(8, 4);
    Table<PlacedRow> table(8);
    table.assign(source);
    table.resetChanged();
    source.reset();
    add(source, key(8), 80);

    EXPECT_TRUE(table.compareAssign(source));

    EXPECT_EQ(rowsOf(table), (Shows{shown(2, 2, 20), shown(3, 3, 30), shown(4, 4, 40), shown(1, 8, 80)}));
    EXPECT_EQ(flagged(table), (Ids{1}));
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, ComparingReplacesAndMovesRowsAsReadingDoes)
{
    Filled source(4, 3);
    Table<PlacedRow> table(4);
    table.assign(source);
    Deletions<PlacedRow> deletions(table);
    PlacedRow const * const moved = table.getChildById(1U);
    add(source, key(4), 40); // takes the id 1 from the key 1
    add(source, key(1), 10); // takes the id 2 from the key 2
    source.renew(source.getChildById(1U));

    EXPECT_TRUE(table.compareAssign(source));

    EXPECT_EQ(rowsOf(table), (Shows{shown(3, 3, 30), shown(2, 1, 10), shown(1, 4, 40)}));
    EXPECT_EQ(table.getChildById(2U), moved);
    ASSERT_EQ(deletions->size(), 1U);
    EXPECT_EQ(deletions->front().number, 2U) << "the id";
    EXPECT_EQ(deletions->front().keyOfId, keyBytes(key(2)));
    EXPECT_EQ(PlacedRow::living().size(), 6U);
    EXPECT_TRUE(table.sound());
}

TEST(HashedTransfer, DeltaOfAMovedANewAndAReplacedRow)
{
    auto const ip = [](unsigned char last) { return keyFrom<CIPAddress>(Bytes{10, 0, 0, last}); };
    auto const mac = [](unsigned char last) { return keyFrom<CMACAddrPacked>(Bytes{2, 0, 0, 0, 0, last}); };
    Table<CARPStat> live(4);
    Table<CARPStat> sent(4);
    Table<CARPStat> received(4);
    for (unsigned char last = 1; last <= 3; ++last)
        live.createIfNew(ip(last), mac(last));
    sent.assign(live);
    ASSERT_EQ(unpack(received, packed(sent, true)), nothingRaised);
    live.deleteOldest();
    live.createIfNew(ip(4), mac(4)); // the id 1
    live.deleteOldest();
    live.createIfNew(ip(1), mac(1)); // the id 2
    live.renew(live.getChildById(1U));

    EXPECT_TRUE(sent.compareAssign(live));
    Bytes const delta = packed(sent, true);

    EXPECT_EQ(delta, bytes("02 00  0a 00 00 01"       // 10.0.0.1 moved to the id 2, where 10.0.0.2 was
                           "01 00  02 00 00 00 00 01" // MAC address
                           "02 00  0a 00 00 01"       // IP address
                           "00 00"                    // end of the row
                           "01 00  0a 00 00 04"       // 10.0.0.4 is new
                           "01 00  02 00 00 00 00 04" // MAC address; the other column is in the key
                           "00 00"                    // end of the row
                           "00 00"));                 // end of the table
    EXPECT_EQ(unpack(received, delta), nothingRaised);
    EXPECT_EQ(rowsOf(received), rowsOf(live));
    EXPECT_TRUE(received.sound());
}

// ---- long transfers ----

// A live container whose rows come and go, a copy that follows it, and a receiver that follows the copy
// through the packed form.
template <class Row>
class Chain
{
public:
    Chain(unsigned int limit, unsigned int seed)
        : m_live(limit),
          m_sent(limit),
          m_received(limit),
          m_keys(limit * 2),
          m_random(seed)
    {}

    // Returns at the first difference, which is a failure then.
    void run(int samples)
    {
        for (int sample = 0; sample < samples; ++sample) {
            SCOPED_TRACE(testing::Message() << "sample " << sample);
            for (unsigned int change = m_random.below(2 + m_keys / 2); change > 0; --change)
                turn();
            transfer(m_random.oneIn(20));
            if (testing::Test::HasFatalFailure())
                return;
        }
    }

private:
    KeyOf<Row> anyKey()
    {
        unsigned int const number = m_random.below(m_keys);
        if constexpr (std::is_same_v<Row, PlacedRow>)
            return place(number % 3, 1 + number % 2, number / 3);
        else
            return keyNumber<KeyOf<Row>>(number * 7919);
    }

    // Every new value is one that there never was.
    void count(Row & row)
    {
        setValue(row, ++m_value);
        if constexpr (requires { row.tcpPorts; }) {
            if (m_random.oneIn(2))
                setValue(*row.tcpPorts.renewed(keyNumber<CProtocolIdPacked>(m_random.below(300))), ++m_value);
            if (m_random.oneIn(2))
                setValue(*row.udpPorts.renewed(keyNumber<CProtocolIdPacked>(m_random.below(5))), ++m_value);
        }
    }

    void turn()
    {
        switch (m_random.below(10)) {
        case 0:
        case 1:
        case 2:
            count(*m_live[anyKey()]);
            break;
        case 3:
            m_live.deleteOldest();
            count(*m_live[anyKeyThatIsNotThere()]);
            break;
        case 4:
            if (m_random.oneIn(60))
                m_live.reset();
            break;
        default:
            count(*m_live.renewed(anyKey()));
        }
    }

    KeyOf<Row> anyKeyThatIsNotThere()
    {
        for (;;)
            if (KeyOf<Row> const rowKey = anyKey(); !m_live.find(rowKey))
                return rowKey;
    }

    void transfer(bool whole)
    {
        m_sent.compareAssign(m_live);
        Bytes const stream = packed(m_sent, true);
        ASSERT_EQ(flagged(m_sent), Ids{});
        ASSERT_FALSE(m_sent.isChanged());
        ASSERT_EQ(packed(m_sent, true), bytes("00 00")) << "all is sent";
        ASSERT_EQ(unpack(m_received, whole ? packed(m_sent, false) : stream), nothingRaised);

        ASSERT_TRUE(m_sent.sound());
        ASSERT_TRUE(m_received.sound());
        ASSERT_EQ(presentIn(m_live, m_received), rowsOf(m_live));
        auto const sent = rowsOf(m_sent);
        ASSERT_EQ(Shows(sent.end() - static_cast<std::ptrdiff_t>(m_live.size()), sent.end()), rowsOf(m_live))
            << "rows that vanished are older";
        if constexpr (requires(Row & row) { row.tcpPorts; })
            comparePorts();
    }

    void comparePorts()
    {
        for (unsigned int const id : idsOf(m_live)) {
            CStationStat & live = *m_live.getChildById(id);
            CStationStat & received = *m_received.getChildById(id);
            ASSERT_EQ(presentIn(live.tcpPorts, received.tcpPorts), rowsOf(live.tcpPorts)) << "station " << id;
            ASSERT_EQ(presentIn(live.udpPorts, received.udpPorts), rowsOf(live.udpPorts)) << "station " << id;
        }
    }

    // The rows of `container` whose keys are also in `live`.
    template <class Container>
    static Shows presentIn(Container & live, Container & container)
    {
        Shows rows;
        for (Shown const & row : rowsOf(container))
            if (live.find(container.getChildById(row.id)->rowKey()))
                rows.push_back(row);
        return rows;
    }

    Table<Row> m_live;
    Table<Row> m_sent;
    Table<Row> m_received;
    unsigned int m_keys;
    test::Random m_random;
    unsigned int m_value = 0;
};

template <class Row>
void followsThroughDeltas(unsigned int limit, int samples)
{
    for (unsigned int seed = 1; seed <= 3; ++seed) {
        SCOPED_TRACE(testing::Message() << "limit " << limit << ", seed " << seed);
        Chain<Row> chain(limit, seed);
        chain.run(samples);
        if (testing::Test::HasFatalFailure())
            return;
    }
}

class HashedDeltas : public testing::TestWithParam<unsigned int>
{};

TEST_P(HashedDeltas, OfRowsThatCollideLeadTheReceiverAlong)
{
    followsThroughDeltas<PlacedRow>(GetParam(), 300);
    EXPECT_TRUE(PlacedRow::living().empty());
}

TEST_P(HashedDeltas, OfStationsLeadTheReceiverAlong)
{
    followsThroughDeltas<CStationStat>(GetParam(), 60);
}

TEST_P(HashedDeltas, OfIPConnectionsLeadTheReceiverAlong)
{
    followsThroughDeltas<CIPConnectionStat>(GetParam(), 200);
}

TEST_P(HashedDeltas, OfMACConnectionsLeadTheReceiverAlong)
{
    followsThroughDeltas<CMACConnectionStat>(GetParam(), 100);
}

TEST_P(HashedDeltas, OfAddressBindingsLeadTheReceiverAlong)
{
    followsThroughDeltas<CARPStat>(GetParam(), 200);
}

INSTANTIATE_TEST_SUITE_P(Rows, HashedDeltas, testing::Values(2U, 3U, 5U, 17U, 60U),
                         testing::PrintToStringParamName());

// ---- order of containers ----

TEST(HashedTransfer, ContainersOfDifferentSizesCompareByThem)
{
    Filled three(6, 3);
    Filled one(6, 1);
    EXPECT_EQ(three.compare(one), 2);
    EXPECT_EQ(one.compare(three), -2);
}

TEST(HashedTransfer, EqualContainersCompareAsLessAndCollateAsEqual)
{
    Table<PlacedRow> empty(6);
    Table<PlacedRow> otherEmpty(6);
    EXPECT_EQ(empty.compare(otherEmpty), -1);
    EXPECT_EQ(empty.collate(otherEmpty), 0);

    Filled table(6, 3);
    Filled equal(6, 3);
    EXPECT_EQ(table.compare(equal), -1);
    EXPECT_EQ(table.compare(table), -1);
    EXPECT_EQ(table.collate(equal), 0);
}

TEST(HashedTransfer, GroupThatHoldsATableNeverComparesEqual)
{
    CAgentStatistic root;
    CAgentStatistic other;
    EXPECT_EQ(root.ipPorts.compare(other.ipPorts), -1);
    EXPECT_EQ(root.ipPorts.collate(other.ipPorts), 0);
    EXPECT_NE(root.compare(root), 0);
}

TEST(HashedTransfer, ContainersCompareByTheFirstRowThatDiffers)
{
    Filled table(6, 3);
    Filled other(6, 3);
    setValue(*table.getChildById(2U), 2);
    setValue(*other.getChildById(2U), 256);
    setValue(*other.getChildById(3U), 0);

    EXPECT_EQ(table.compare(other), 1) << "bytes: 02 00 against 00 01";
    EXPECT_EQ(other.compare(table), -1);
    EXPECT_EQ(table.collate(other), -1) << "numbers";
    EXPECT_EQ(other.collate(table), 1);
}

TEST(HashedTransfer, ContainersThatEndFirstCollateFirst)
{
    Filled three(6, 3);
    Filled two(6, 2);
    EXPECT_EQ(two.collate(three), -1);
    EXPECT_EQ(three.collate(two), 1);
}

// The walk through an empty container starts at the other's oldest row, the one through the other container
// has ended before it starts.
TEST(HashedTransfer, EmptyContainerCollatesBehindOneWithRows)
{
    Table<PlacedRow> empty(6);
    Filled two(6, 2);
    EXPECT_EQ(empty.collate(two), 1);
    EXPECT_EQ(two.collate(empty), -1);
}

TEST(HashedTransfer, EqualRowsInAnotherOrderDiffer)
{
    Filled table(6, 3);
    Filled other(6, 3);
    for (unsigned int const id : {3U, 2U})
        other.renew(other.getChildById(id));

    // Rows 1 against 1, then 2 against 3.
    EXPECT_EQ(table.compare(other), -1);
    EXPECT_EQ(other.compare(table), 1);
    EXPECT_EQ(table.collate(other), other.collate(table) * -1);
    EXPECT_NE(table.collate(other), 0);
}

// Each walk starts at the index of the other's oldest row.
TEST(HashedTransfer, WalksStartAtEachOthersOldestRow)
{
    Filled table(6, 2);
    Filled other(6, 2);
    other.renew(other.getChildById(1U)); // its oldest is the row 2

    // The row 2 of `table` against the row 1 of `other`; the heads would give the opposite sign.
    EXPECT_EQ(table.compare(other), 1);
    EXPECT_EQ(table.collate(other), 1);
    EXPECT_EQ(other.compare(table), -1);
    EXPECT_EQ(other.collate(table), -1);
}

TEST(HashedTransfer, CrossedWalkThatEndsEarlierTells)
{
    Table<PlacedRow> table(6);
    Table<PlacedRow> other(6);
    add(table, key(1), 10);
    add(table, key(2), 20);
    add(table, key(3), 30); // the newest of `table`, and there the walk starts
    add(other, key(3), 30); // equal to it; another row is behind
    add(other, key(4), 40);
    add(other, key(5), 50);
    other.renew(other.getChildById(1U));
    other.renew(other.getChildById(2U)); // 3 1 2: the oldest has the id 3

    EXPECT_EQ(table.compare(other), 1) << "this walk ended, the other one didn't";
    EXPECT_EQ(table.collate(other), -1);
    EXPECT_EQ(other.compare(table), -1) << "the other way round";
    EXPECT_EQ(other.collate(table), 1);
}

} // namespace
