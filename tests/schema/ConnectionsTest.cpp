#include "ketstats/schema/AgentStatistic.h"

#include "tests/support/Bytes.h"
#include "tests/support/Frames.h"
#include "tests/support/Raised.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <typeinfo>

using namespace KetStats;
using ktools::CMemoryBuffer;
using test::Bytes;
using test::bytes;
using test::ip;
using test::mac;
using test::Raised;
using test::raisedBy;
using testing::ElementsAre;

namespace {

using MacKey = CMACConnectionStat::CKey;
using IpKey = CIPConnectionStat::CKey;

CMACAddr const macOne(Bytes{2, 0, 0, 0, 0, 1}.data());
CMACAddr const macTwo(Bytes{2, 0, 0, 0, 0, 2}.data());
CMACAddr const macThree(Bytes{2, 0, 0, 0, 0, 3}.data());
CIPAddress const ipOne = ip("10.0.0.1");
CIPAddress const ipTwo = ip("10.0.0.2");
CIPAddress const ipThree = ip("10.0.0.3");

template <class Key>
Bytes packedKey(Key const & key)
{
    CMemoryBuffer buffer;
    key.packValue(buffer);
    return test::contents(buffer);
}

Bytes packed(CBaseStat & stat)
{
    CMemoryBuffer buffer;
    stat.packValue(buffer, false);
    return test::contents(buffer);
}

Raised unpack(CBaseStat & stat, Bytes const & stream)
{
    CMemoryBuffer buffer(stream.data(), static_cast<int>(stream.size()));
    return raisedBy<CMemoryBuffer::CException>([&] { stat.unpackValue(buffer); });
}

std::string kindOf(CBaseStat const & stat)
{
    CStatDescription const & description = *stat.getDescription();
    if (dynamic_cast<CValueStat<CMACAddrPacked> const *>(&stat))
        return typeid(description) == typeid(CMACAddressStatDescription) ? "MAC" : "unknown";
    if (dynamic_cast<CValueStat<CIPAddress> const *>(&stat))
        return typeid(description) == typeid(CIPAddressStatDescription) ? "IP" : "unknown";
    if (dynamic_cast<CValueStat<long long> const *>(&stat))
        return typeid(description) == typeid(CIntegerStatDescription<long long>) ? "64 bits" : "unknown";
    if (dynamic_cast<CValueStat<unsigned int> const *>(&stat))
        return typeid(description) == typeid(CIntegerStatDescription<unsigned int>) ? "32 bits" : "unknown";
    if (dynamic_cast<CValueStat<percentVal> const *>(&stat))
        return typeid(description) == typeid(CNumericStatDescription<percentVal>) ? "percentage" : "unknown";
    return "unknown";
}

// The columns of a row as nodes and descriptions tell them: "3 Data transmitted, B: 64 bits".
std::vector<std::string> columnsOf(CBaseStat & row)
{
    std::vector<std::string> columns;
    EXPECT_EQ(row.getDescription()->getSubStatsCount(), row.getChildrenCount());
    for (unsigned int index = 0; index < row.getChildrenCount(); ++index) {
        CBaseStat const & child = *row.getChild(index);
        CStatDescription const & description = *child.getDescription();
        EXPECT_EQ(&description, row.getDescription()->subStatDescription(index));
        EXPECT_EQ(description.getOid(), child.getId());
        std::string text = std::to_string(child.getId()) + ' ' + description.getStringDescription();
        if (auto const * const numeric = dynamic_cast<CNumericStatDescriptionBase const *>(&description))
            text += ", " + numeric->getAbbrev();
        columns.push_back(text + ": " + kindOf(child));
    }
    EXPECT_EQ(row.getChild(row.getChildrenCount()), nullptr);
    return columns;
}

// The packed form of a row, read by a new row of its class and cut at every length.
template <class Row>
void survivesTransfer(Row & row)
{
    Bytes const whole = packed(row);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        Row target(nullptr, 1);
        ASSERT_EQ(unpack(target, Bytes(whole.data(), whole.data() + length)),
                  (Raised{1, "MemoryBuffer", 184, true}))
            << length << " of " << whole.size() << " bytes";
    }
    Row target(nullptr, 1);
    EXPECT_EQ(unpack(target, whole), test::nothingRaised);
    EXPECT_EQ(packed(target), whole);
}

TEST(MACConnectionKey, IsTwelveBytesSourceFirst)
{
    EXPECT_EQ(packedKey(MacKey()), Bytes(12));
    EXPECT_EQ(packedKey(MacKey()), packedKey(MacKey(CMACAddr(), CMACAddr())));
    EXPECT_EQ(packedKey(MacKey(macOne, macTwo)), bytes("02 00 00 00 00 01  02 00 00 00 00 02"));
}

TEST(MACConnectionKey, TellsTheDirectionsApart)
{
    MacKey there;
    MacKey back;

    there.update(macOne, macTwo);
    back.update(macTwo, macOne);

    EXPECT_EQ(packedKey(there), packedKey(MacKey(macOne, macTwo)));
    EXPECT_EQ(packedKey(back), packedKey(MacKey(macTwo, macOne)));
    EXPECT_NE(packedKey(there), packedKey(back));
    EXPECT_FALSE(
        (CHashTable<CMACConnectionStat, MacKey, CMACConnectionStat::CHasher>::keyCompare(there, back)));
}

TEST(MACConnectionKey, IsCopiedWhole)
{
    MacKey const key(macOne, macTwo);
    MacKey const copy(key);
    MacKey assigned(macThree, macThree);
    assigned = key;

    EXPECT_EQ(packedKey(copy), packedKey(key));
    EXPECT_EQ(packedKey(assigned), packedKey(key));
}

TEST(IPConnectionKey, IsEightBytesSourceFirst)
{
    EXPECT_EQ(packedKey(IpKey()), Bytes(8));
    EXPECT_EQ(packedKey(IpKey(ipOne, ipTwo)), bytes("0a 00 00 01  0a 00 00 02"));
}

TEST(IPConnectionKey, IsEqualIfBothAddressesAre)
{
    IpKey there;
    IpKey back;
    there.update(ipOne, ipTwo);
    back.update(ipTwo, ipOne);

    EXPECT_TRUE(there == IpKey(ipOne, ipTwo));
    EXPECT_FALSE(there == back) << "directions are told apart";
    EXPECT_FALSE(there == IpKey(ipOne, ipThree));
    EXPECT_FALSE(there == IpKey(ipThree, ipTwo));
    back = there;
    EXPECT_TRUE(there == back);
    EXPECT_TRUE(there == IpKey(back));
}

template <class Key>
void readsWholeKeysOnly(Key const & key)
{
    Bytes const whole = packedKey(key);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        CMemoryBuffer buffer(whole.data(), static_cast<int>(length));
        Key target;
        EXPECT_EQ(raisedBy<CMemoryBuffer::CException>([&] { target.unpackValue(buffer); }),
                  (Raised{1, "MemoryBuffer", 184, true}));
        EXPECT_EQ(packedKey(target), Bytes(whole.size()));
    }
    CMemoryBuffer buffer(whole.data(), static_cast<int>(whole.size()));
    Key target;
    target.unpackValue(buffer);
    EXPECT_EQ(packedKey(target), whole);
    EXPECT_EQ(buffer.readPosition, static_cast<int>(whole.size()));
}

TEST(ConnectionKeys, AreReadWhole)
{
    readsWholeKeysOnly(MacKey(macOne, macTwo));
    readsWholeKeysOnly(IpKey(ipOne, ipTwo));
}

TEST(MACConnectionRow, HasItsColumns)
{
    CMACConnectionStat row(nullptr, 1);

    EXPECT_EQ(row.getDescription()->getStringDescription(), "MAC traffic");
    EXPECT_THAT(columnsOf(row),
                ElementsAre("1 Source: MAC", "2 Destination: MAC", "3 Data transmitted, B: 64 bits",
                            "4 Frames transmitted, fr: 32 bits", "5 Average frame size, B: 32 bits",
                            "6 Percentage, %: percentage"));
    EXPECT_EQ(row.getChildrenCount(), 6U);
    EXPECT_EQ(row.getChild(6), nullptr);
}

TEST(IPConnectionRow, HasItsColumns)
{
    CIPConnectionStat row(nullptr, 1);

    EXPECT_EQ(row.getDescription()->getStringDescription(), "IP traffic");
    EXPECT_THAT(columnsOf(row),
                ElementsAre("1 Source: IP", "2 Destination: IP", "3 Data transmitted, B: 64 bits",
                            "4 Frames transmitted, fr: 32 bits", "5 Average frame size, B: 32 bits",
                            "6 Percentage, %: percentage"));
    EXPECT_EQ(row.getChildrenCount(), 6U);
    EXPECT_EQ(row.getChild(6), nullptr);
}

TEST(ConnectionRows, ShareTheirCounterColumns)
{
    CStatDescription const & macRow = *CMACConnectionStat(nullptr, 1).getDescription();
    CStatDescription const & ipRow = *CIPConnectionStat(nullptr, 1).getDescription();

    for (unsigned int column = 2; column < 6; ++column)
        EXPECT_EQ(macRow.subStatDescription(column), ipRow.subStatDescription(column));
    for (unsigned int column = 0; column < 2; ++column)
        EXPECT_NE(macRow.subStatDescription(column), ipRow.subStatDescription(column));
}

// The two connection rows differ in their addresses only.
struct MacRows
{
    using Row = CMACConnectionStat;
    static inline CMACAddr const & one = macOne;
    static inline CMACAddr const & two = macTwo;
    static inline CMACAddr const & three = macThree;
    static CMACAddrPacked value(CMACAddr const & address) { return address; }
    static char const * golden()
    {
        return "01 00 02 00 00 00 00 01"       // source
               "02 00 02 00 00 00 00 02"       // destination
               "03 00 05 00 00 00 00 00 00 00" // data
               "04 00 06 00 00 00"             // frames
               "05 00 07 00 00 00"             // average
               "06 00 00 00 00 00 00 00 f0 3f" // percentage
               "00 00";
    }
    static Bytes destinationOnly() { return bytes("02 00 02 00 00 00 00 03  00 00"); }
};

struct IpRows
{
    using Row = CIPConnectionStat;
    static inline CIPAddress const & one = ipOne;
    static inline CIPAddress const & two = ipTwo;
    static inline CIPAddress const & three = ipThree;
    static CIPAddress value(CIPAddress const & address) { return address; }
    static char const * golden()
    {
        return "01 00 0a 00 00 01"             // source
               "02 00 0a 00 00 02"             // destination
               "03 00 05 00 00 00 00 00 00 00" // data
               "04 00 06 00 00 00"             // frames
               "05 00 07 00 00 00"             // average
               "06 00 00 00 00 00 00 00 f0 3f" // percentage
               "00 00";
    }
    static Bytes destinationOnly() { return bytes("02 00 0a 00 00 03  00 00"); }
};

template <class Rows>
class ConnectionRow : public testing::Test
{
protected:
    using Row = typename Rows::Row;
    using Key = typename Row::CKey;

    static Bytes keyOf(Row const & row)
    {
        EXPECT_EQ(&row.rowKey(), &row.key);
        return packedKey(row.key);
    }
    template <class Address>
    static Bytes pair(Address const & source, Address const & destination)
    {
        return packedKey(Key(source, destination));
    }
};

using ConnectionRowTypes = testing::Types<MacRows, IpRows>;
TYPED_TEST_SUITE(ConnectionRow, ConnectionRowTypes);

TYPED_TEST(ConnectionRow, StartsZero)
{
    typename TypeParam::Row const row(nullptr, 7);

    EXPECT_EQ(row.getId(), 7);
    EXPECT_EQ(this->keyOf(row), Bytes(sizeof row.key));
    EXPECT_TRUE(row.source.get() == decltype(row.source.get()){});
    EXPECT_EQ(row.dataTransmitted.get(), 0);
    EXPECT_EQ(row.framesTransmitted.get(), 0U);
    EXPECT_EQ(row.averageFrameSize.get(), 0U);
    EXPECT_EQ(row.percentage.get().value, 0.0);
    EXPECT_TRUE(row.isChanged());
}

TYPED_TEST(ConnectionRow, TakesItsAddressesFromTheKey)
{
    typename TypeParam::Row const row(nullptr, 1, {TypeParam::one, TypeParam::two});

    EXPECT_EQ(this->keyOf(row), this->pair(TypeParam::one, TypeParam::two));
    EXPECT_TRUE(row.source.get() == TypeParam::value(TypeParam::one));
    EXPECT_TRUE(row.destination.get() == TypeParam::value(TypeParam::two));
    EXPECT_EQ(row.framesTransmitted.get(), 0U);
}

TYPED_TEST(ConnectionRow, TakesAnotherKeyWithItsAddresses)
{
    typename TypeParam::Row row(nullptr, 1, {TypeParam::one, TypeParam::two});

    row.takeKey({TypeParam::two, TypeParam::three});

    EXPECT_EQ(this->keyOf(row), this->pair(TypeParam::two, TypeParam::three));
    EXPECT_TRUE(row.source.get() == TypeParam::value(TypeParam::two));
    EXPECT_TRUE(row.destination.get() == TypeParam::value(TypeParam::three));
}

TYPED_TEST(ConnectionRow, KeyIsUpdatedFromTheChildren)
{
    typename TypeParam::Row row(nullptr, 1, {TypeParam::one, TypeParam::two});
    row.source = TypeParam::value(TypeParam::three);
    EXPECT_EQ(this->keyOf(row), this->pair(TypeParam::one, TypeParam::two));

    row.updateKey();

    EXPECT_EQ(this->keyOf(row), this->pair(TypeParam::three, TypeParam::two));
}

TYPED_TEST(ConnectionRow, AssignmentBringsTheKeyAlong)
{
    typename TypeParam::Row row(nullptr, 1, {TypeParam::one, TypeParam::two});
    typename TypeParam::Row other(nullptr, 2, {TypeParam::two, TypeParam::three});
    other.framesTransmitted = 4U;
    row.resetChanged();

    row.assign(other);

    EXPECT_EQ(this->keyOf(row), this->pair(TypeParam::two, TypeParam::three));
    EXPECT_TRUE(row.source.get() == TypeParam::value(TypeParam::two));
    EXPECT_EQ(row.framesTransmitted.get(), 4U);
    EXPECT_EQ(row.getId(), 1);
    EXPECT_TRUE(row.isChanged());
    EXPECT_TRUE(row.source.isChanged());
}

TYPED_TEST(ConnectionRow, AssignmentTakesTheChildrenOfTheOtherAndNotItsKey)
{
    typename TypeParam::Row row(nullptr, 1);
    typename TypeParam::Row other(nullptr, 2, {TypeParam::one, TypeParam::two});
    other.destination = TypeParam::value(TypeParam::three);

    row.assign(other);

    EXPECT_EQ(this->keyOf(row), this->pair(TypeParam::one, TypeParam::three));
}

TYPED_TEST(ConnectionRow, UnpackingBringsTheKeyAlong)
{
    typename TypeParam::Row source(nullptr, 1, {TypeParam::one, TypeParam::two});
    typename TypeParam::Row row(nullptr, 2, {TypeParam::three, TypeParam::three});

    EXPECT_EQ(unpack(row, packed(source)), test::nothingRaised);

    EXPECT_EQ(this->keyOf(row), this->pair(TypeParam::one, TypeParam::two));
}

TYPED_TEST(ConnectionRow, UnpackingOfACounterLeavesTheKey)
{
    typename TypeParam::Row row(nullptr, 1, {TypeParam::one, TypeParam::two});

    EXPECT_EQ(unpack(row, bytes("04 00 09 00 00 00  00 00")), test::nothingRaised);

    EXPECT_EQ(row.framesTransmitted.get(), 9U);
    EXPECT_EQ(this->keyOf(row), this->pair(TypeParam::one, TypeParam::two));
    EXPECT_TRUE(row.source.get() == TypeParam::value(TypeParam::one));
}

TYPED_TEST(ConnectionRow, UnpackingOfOneAddressRebuildsTheKey)
{
    typename TypeParam::Row row(nullptr, 1, {TypeParam::one, TypeParam::two});

    EXPECT_EQ(unpack(row, TypeParam::destinationOnly()), test::nothingRaised);

    EXPECT_EQ(this->keyOf(row), this->pair(TypeParam::one, TypeParam::three));
}

TYPED_TEST(ConnectionRow, HasItsGoldenForm)
{
    typename TypeParam::Row row(nullptr, 1, {TypeParam::one, TypeParam::two});
    row.dataTransmitted = 5LL;
    row.framesTransmitted = 6U;
    row.averageFrameSize = 7U;
    row.percentage = percentVal(1.0);

    EXPECT_EQ(packed(row), bytes(TypeParam::golden())) << "the key isn't among the children";
    survivesTransfer(row);
}

TEST(MACConnectionRow, ChildrenAreUpdatedFromTheKey)
{
    CMACConnectionStat row(nullptr, 1);
    row.key.update(macTwo, macOne);

    row.fromKey();

    EXPECT_EQ(row.source.get(), CMACAddrPacked(macTwo));
    EXPECT_EQ(row.destination.get(), CMACAddrPacked(macOne));
}

TEST(ARPRow, HasItsColumns)
{
    CARPStat row(nullptr, 1);

    EXPECT_EQ(row.getDescription()->getStringDescription(), "ARP statistics");
    EXPECT_THAT(columnsOf(row), ElementsAre("1 MAC address: MAC", "2 IP address: IP"));
    EXPECT_EQ(row.getChildrenCount(), 2U);
    EXPECT_EQ(row.getChild(2), nullptr);
}

TEST(ARPRow, IsMadeWithNothingAKeyOrBoth)
{
    CARPStat const keyless(nullptr, 1);
    EXPECT_EQ(keyless.macAddress.get(), CMACAddrPacked());
    EXPECT_EQ(keyless.ipAddress.get(), CIPAddress(0));

    CARPStat const keyed(nullptr, 1, ipOne);
    EXPECT_EQ(keyed.macAddress.get(), CMACAddrPacked());
    EXPECT_EQ(keyed.ipAddress.get(), ipOne);

    CARPStat const both(nullptr, 1, ipOne, macTwo);
    EXPECT_EQ(both.macAddress.get(), CMACAddrPacked(macTwo));
    EXPECT_EQ(both.ipAddress.get(), ipOne);
    EXPECT_EQ(both.rowKey(), ipOne) << "the second child is the key";
}

TEST(ARPRow, HasItsGoldenForm)
{
    CARPStat row(nullptr, 1, ipOne, macTwo);

    EXPECT_EQ(packed(row), bytes("01 00 02 00 00 00 00 02" // MAC address
                                 "02 00 0a 00 00 01"       // IP address
                                 "00 00"));
    survivesTransfer(row);
}

TEST(ConnectionTables, PackTheirRowsBehindIdAndKey)
{
    CAgentStatistic root;
    root.macConnections[MacKey(macOne, macTwo)];
    root.ipConnections[IpKey(ipOne, ipTwo)];
    root.arpTable.createIfNew(ipOne, macTwo);

    auto const front = [](CBaseStat & table, std::ptrdiff_t count) {
        Bytes const whole = packed(table);
        return Bytes(whole.begin(), whole.begin() + count);
    };
    EXPECT_EQ(front(root.macConnections, 14), bytes("01 00  02 00 00 00 00 01  02 00 00 00 00 02"));
    EXPECT_EQ(front(root.ipConnections, 10), bytes("01 00  0a 00 00 01  0a 00 00 02"));
    EXPECT_EQ(packed(root.arpTable), bytes("01 00  0a 00 00 01"      // row 1, its key
                                           "01 00 02 00 00 00 00 02" // MAC address
                                           "02 00 0a 00 00 01"       // IP address
                                           "00 00"                   //
                                           "00 00"));
}

TEST(ConnectionTables, FindRowsThatArrivedByTheirAddresses)
{
    CAgentStatistic sent;
    sent.macConnections[MacKey(macOne, macTwo)]->framesTransmitted = 3U;
    sent.ipConnections[IpKey(ipOne, ipTwo)]->framesTransmitted = 4U;
    CAgentStatistic received;
    CAgentStatistic assigned;

    unpack(received.macConnections, packed(sent.macConnections));
    unpack(received.ipConnections, packed(sent.ipConnections));
    assigned.assign(sent);

    for (CAgentStatistic * const root : {&received, &assigned}) {
        ASSERT_NE(root->macConnections.find({macOne, macTwo}), nullptr);
        EXPECT_EQ(root->macConnections.find({macOne, macTwo})->framesTransmitted.get(), 3U);
        EXPECT_EQ(root->macConnections.find({macTwo, macOne}), nullptr);
        ASSERT_NE(root->ipConnections.find({ipOne, ipTwo}), nullptr);
        EXPECT_EQ(root->ipConnections.find({ipOne, ipTwo})->framesTransmitted.get(), 4U);
        EXPECT_EQ(root->ipConnections.find({ipTwo, ipOne}), nullptr);
    }
}

} // namespace
