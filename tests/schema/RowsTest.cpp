#include "ketstats/schema/AgentStatistic.h"

#include "tests/support/Bytes.h"
#include "tests/support/Frames.h"
#include "tests/support/Raised.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>
#include <typeinfo>

using namespace KetStats;
using ktools::CMemoryBuffer;
using test::bytes;
using test::id;
using test::mac;
using test::macA;
using test::Raised;
using test::raisedBy;
using testing::ElementsAre;

namespace {

template <class Description>
bool isDescribed(CBaseStat const & stat)
{
    CStatDescription const & description = *stat.getDescription();
    return typeid(description) == typeid(Description);
}

template <class Value, class Description>
bool isLeaf(CBaseStat const & stat)
{
    return dynamic_cast<CValueStat<Value> const *>(&stat) && isDescribed<Description>(stat);
}

std::string kindOf(CBaseStat const & stat)
{
    if (isLeaf<long long, CIntegerStatDescription<long long>>(stat))
        return "64 bits";
    if (isLeaf<unsigned int, CIntegerStatDescription<unsigned int>>(stat))
        return "32 bits";
    if (isLeaf<percentVal, CNumericStatDescription<percentVal>>(stat))
        return "percentage";
    if (isLeaf<CMACAddrPacked, CMACAddressStatDescription>(stat))
        return "MAC";
    if (isLeaf<CIPAddress, CIPAddressStatDescription>(stat))
        return "IP";
    if (isLeaf<CProtocolIdPacked, CProtocolIdStatDescription>(stat))
        return "protocol";
    if (dynamic_cast<CStringStat const *>(&stat) && isDescribed<CStringStatDescription>(stat))
        return "text";
    auto const * const table = dynamic_cast<CBaseHashedContainerStat const *>(&stat);
    if (table && isDescribed<CDynamicArrayStatDescription>(stat))
        return std::to_string(table->getLimit()) + " of " +
               stat.getDescription()->subStatDescription(0)->getStringDescription();
    return isDescribed<CStructStatDescription>(stat) ? "group" : "unknown";
}

// A child as its node and its description tell it: "2 Data transmitted, B: 64 bits".
std::string columnOf(CBaseStat const & stat)
{
    CStatDescription const & description = *stat.getDescription();
    std::string text = std::to_string(stat.getId()) + ' ' + description.getStringDescription();
    if (auto const * const numeric = dynamic_cast<CNumericStatDescriptionBase const *>(&description))
        text += ", " + numeric->getAbbrev();
    EXPECT_EQ(description.getOid(), stat.getId()) << text;
    return text + ": " + kindOf(stat);
}

std::vector<std::string> columnsOf(CBaseStat & group)
{
    std::vector<std::string> columns;
    CStatDescription const & description = *group.getDescription();
    EXPECT_EQ(typeid(description), typeid(CStructStatDescription));
    EXPECT_EQ(description.getSubStatsCount(), group.getChildrenCount());
    for (unsigned int index = 0; index < group.getChildrenCount(); ++index) {
        CBaseStat const & child = *group.getChild(index);
        EXPECT_EQ(child.getDescription(), description.subStatDescription(index));
        EXPECT_EQ(child.getParent(), &group);
        columns.push_back(columnOf(child));
    }
    EXPECT_EQ(group.getChild(group.getChildrenCount()), nullptr);
    EXPECT_EQ(description.subStatDescription(group.getChildrenCount()), nullptr);
    return columns;
}

test::Bytes packed(CBaseStat & stat)
{
    CMemoryBuffer buffer;
    stat.packValue(buffer, false);
    return test::contents(buffer);
}

Raised unpack(CBaseStat & stat, test::Bytes const & stream)
{
    CMemoryBuffer buffer(stream.data(), static_cast<int>(stream.size()));
    return raisedBy<CMemoryBuffer::CException>([&] { stat.unpackValue(buffer); });
}

// The packed form of a row, read by a new row of its class and cut at every length.
template <class Row>
void survivesTransfer(Row & row)
{
    test::Bytes const whole = packed(row);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        Row target(nullptr, 1);
        ASSERT_EQ(unpack(target, test::Bytes(whole.data(), whole.data() + length)),
                  (Raised{1, "MemoryBuffer", 184, true}))
            << length << " of " << whole.size() << " bytes";
    }
    Row target(nullptr, 1);
    EXPECT_EQ(unpack(target, whole), test::nothingRaised);
    EXPECT_EQ(packed(target), whole);
}

TEST(StationRow, HasItsColumns)
{
    CStationStat row(nullptr, 1);

    EXPECT_EQ(row.getDescription()->getStringDescription(), "Station statistics");
    EXPECT_THAT(columnsOf(row), ElementsAre("1 Station: MAC", "2 Data transmitted, B: 64 bits",
                                            "3 Frames transmitted, fr: 32 bits",
                                            "4 Data received, B: 64 bits", "5 Frames received, fr: 32 bits",
                                            "6 Percentage, %: percentage", "7 TCP ports: 200 of TCP port",
                                            "8 UDP ports: 200 of UDP port", "9 VLAN ID: text"));
    EXPECT_EQ(row.getChildrenCount(), 9U);
    EXPECT_EQ(row.getChild(9), nullptr);
    EXPECT_EQ(row.getChild(4), &row.framesReceived);
    EXPECT_EQ(row.framesReceived.getId(), 5);
}

TEST(StationRow, StartsZeroAndEmpty)
{
    CStationStat const keyless(nullptr, 3);
    EXPECT_EQ(keyless.getId(), 3);
    EXPECT_EQ(keyless.address.get(), CMACAddrPacked());
    EXPECT_TRUE(keyless.isChanged());

    CStationStat row(nullptr, 4, mac(macA));
    EXPECT_EQ(row.address.get(), mac(macA));
    EXPECT_EQ(row.rowKey(), mac(macA));
    EXPECT_EQ(row.dataTransmitted.get(), 0);
    EXPECT_EQ(row.framesTransmitted.get(), 0U);
    EXPECT_EQ(row.dataReceived.get(), 0);
    EXPECT_EQ(row.framesReceived.get(), 0U);
    EXPECT_EQ(row.percentage.get().value, 0.0);
    EXPECT_EQ(row.tcpPorts.size(), 0U);
    EXPECT_EQ(row.udpPorts.size(), 0U);
    EXPECT_EQ(row.vlanId.get(), "");
    EXPECT_TRUE(row.isChanged());
    EXPECT_TRUE(row.address.isChanged());
}

TEST(StationRow, HasItsGoldenForm)
{
    CStationStat row(nullptr, 1, mac("00-11-22-33-44-55"));
    row.dataTransmitted = 0x0102030405060708LL;
    row.framesTransmitted = 2U;
    row.dataReceived = -1LL;
    row.framesReceived = 3U;
    row.percentage = percentVal(1.0);
    row.tcpPorts[id(80)]->framesReceived = 7U;
    row.vlanId = "42";

    EXPECT_EQ(packed(row), bytes("01 00 00 11 22 33 44 55"           // address
                                 "02 00 08 07 06 05 04 03 02 01"     // data transmitted
                                 "03 00 02 00 00 00"                 // frames transmitted
                                 "04 00 ff ff ff ff ff ff ff ff"     // data received
                                 "05 00 03 00 00 00"                 // frames received
                                 "06 00 00 00 00 00 00 00 f0 3f"     // percentage
                                 "07 00"                             // TCP ports
                                 "  01 00 00 00 00 00 00 50"         //   row 1, its key
                                 "    01 00 00 00 00 00 00 50"       //     port
                                 "    02 00 00 00 00 00 00 00 00 00" //    data transmitted
                                 "    03 00 00 00 00 00"             //     frames transmitted
                                 "    04 00 00 00 00 00 00 00 00 00" //    data received
                                 "    05 00 07 00 00 00"             //     frames received
                                 "    00 00"                         //
                                 "  00 00"                           //
                                 "08 00 00 00"                       // UDP ports
                                 "09 00 02 00 34 32"                 // VLAN id
                                 "00 00"));
    survivesTransfer(row);
}

TEST(StationRow, ArrivesWithItsKeyAsItsFirstChild)
{
    CStationStat source(nullptr, 1, mac(macA));
    source.udpPorts[id(53)]->dataTransmitted = 9LL;
    CStationStat unpacked(nullptr, 2);
    CStationStat assigned(nullptr, 3);

    unpack(unpacked, packed(source));
    assigned.assign(source);

    for (CStationStat * const row : {&unpacked, &assigned}) {
        EXPECT_EQ(row->rowKey(), mac(macA));
        ASSERT_NE(row->udpPorts.find(id(53)), nullptr);
        EXPECT_EQ(row->udpPorts.find(id(53))->dataTransmitted.get(), 9);
        EXPECT_EQ(row->tcpPorts.size(), 0U);
    }
    EXPECT_EQ(unpacked.getId(), 2) << "the place in a tree isn't a value";
}

TEST(ProtocolRow, HasItsColumns)
{
    CProtocolStat row(nullptr, 1);

    EXPECT_EQ(row.getDescription()->getStringDescription(), "Protocol statistics");
    EXPECT_THAT(columnsOf(row),
                ElementsAre("1 Protocol ID: protocol", "2 Data transmitted, B: 64 bits",
                            "3 Frames transmitted, fr: 32 bits", "4 Average frame size, B: 32 bits",
                            "5 Percentage, %: percentage"));
    EXPECT_EQ(row.getChildrenCount(), 5U);
    EXPECT_EQ(row.getChild(5), nullptr);
}

TEST(ProtocolRow, StartsZeroAndHasItsGoldenForm)
{
    EXPECT_EQ(CProtocolStat(nullptr, 1).rowKey(), CProtocolIdPacked());
    CProtocolStat row(nullptr, 1, id(0x0800));
    EXPECT_EQ(row.rowKey(), id(0x0800));
    EXPECT_EQ(row.dataTransmitted.get(), 0);
    EXPECT_EQ(row.framesTransmitted.get(), 0U);
    EXPECT_EQ(row.averageFrameSize.get(), 0U);
    EXPECT_EQ(row.percentage.get().value, 0.0);

    row.dataTransmitted = 5LL;
    row.framesTransmitted = 6U;
    row.averageFrameSize = 7U;
    EXPECT_EQ(packed(row), bytes("01 00 00 00 00 00 08 00"       // protocol
                                 "02 00 05 00 00 00 00 00 00 00" // data
                                 "03 00 06 00 00 00"             // frames
                                 "04 00 07 00 00 00"             // average
                                 "05 00 00 00 00 00 00 00 00 00" // percentage
                                 "00 00"));
    survivesTransfer(row);
}

TEST(SubprotocolRow, HasItsColumns)
{
    CGenProtoStat<0> row(nullptr, 1);

    EXPECT_EQ(row.getDescription()->getStringDescription(), "Protocol statistics");
    EXPECT_NE(row.getDescription(), CProtocolStat(nullptr, 1).getDescription()) << "named alike, and another";
    EXPECT_THAT(columnsOf(row), ElementsAre("1 IP subprotocol ID: protocol", "2 Data transmitted, B: 64 bits",
                                            "3 Frames transmitted, fr: 32 bits"));
    EXPECT_EQ(row.getChild(3), nullptr);
}

TEST(SubprotocolRow, StartsZeroAndHasItsGoldenForm)
{
    EXPECT_EQ(CGenProtoStat<0>(nullptr, 1).rowKey(), CProtocolIdPacked());
    CGenProtoStat<0> row(nullptr, 1, id(17));
    EXPECT_EQ(row.rowKey(), id(17));

    EXPECT_EQ(packed(row), bytes("01 00 00 00 00 00 00 11"       // sub-protocol
                                 "02 00 00 00 00 00 00 00 00 00" // data
                                 "03 00 00 00 00 00"             // frames
                                 "00 00"));
    survivesTransfer(row);
}

template <class Row>
void startsZeroAndHasItsGoldenForm()
{
    EXPECT_EQ(Row(nullptr, 1).rowKey(), CProtocolIdPacked());
    Row row(nullptr, 1, id(0x1234));
    EXPECT_EQ(row.rowKey(), id(0x1234));
    EXPECT_EQ(row.dataTransmitted.get(), 0);
    EXPECT_EQ(row.framesTransmitted.get(), 0U);

    row.dataReceived = 5LL;
    row.framesReceived = 6U;
    EXPECT_EQ(packed(row), bytes("01 00 00 00 00 00 12 34"       // port
                                 "02 00 00 00 00 00 00 00 00 00" // data transmitted
                                 "03 00 00 00 00 00"             // frames transmitted
                                 "04 00 05 00 00 00 00 00 00 00" // data received
                                 "05 00 06 00 00 00"             // frames received
                                 "00 00"));
    survivesTransfer(row);
}

TEST(PortRow, IsNamedAfterItsKey)
{
    CGenPortStat<0> tcp(nullptr, 1);
    CGenPortStat<1> udp(nullptr, 1);

    EXPECT_EQ(tcp.getDescription()->getStringDescription(), "TCP port");
    EXPECT_THAT(columnsOf(tcp), ElementsAre("1 TCP port: protocol", "2 Data transmitted, B: 64 bits",
                                            "3 Frames transmitted, fr: 32 bits",
                                            "4 Data received, B: 64 bits", "5 Frames received, fr: 32 bits"));
    EXPECT_EQ(udp.getDescription()->getStringDescription(), "UDP port");
    EXPECT_THAT(columnsOf(udp), ElementsAre("1 UDP port: protocol", "2 Data transmitted, B: 64 bits",
                                            "3 Frames transmitted, fr: 32 bits",
                                            "4 Data received, B: 64 bits", "5 Frames received, fr: 32 bits"));
    EXPECT_EQ(udp.getDescription()->getSubStatsCount(), 5U);
    EXPECT_EQ(udp.getDescription()->subStatDescription(4)->getOid(), 5);
    EXPECT_EQ(tcp.getChild(5), nullptr);
}

TEST(PortRow, StartsZeroAndHasItsGoldenForm)
{
    startsZeroAndHasItsGoldenForm<CGenPortStat<0>>();
    startsZeroAndHasItsGoldenForm<CGenPortStat<1>>();
}

TEST(PortRow, SharesItsCounterColumns)
{
    CStatDescription const & proto = *CGenProtoStat<0>(nullptr, 1).getDescription();
    CStatDescription const & tcp = *CGenPortStat<0>(nullptr, 1).getDescription();
    CStatDescription const & udp = *CGenPortStat<1>(nullptr, 1).getDescription();

    for (unsigned int column : {1U, 2U}) {
        EXPECT_EQ(proto.subStatDescription(column), tcp.subStatDescription(column));
        EXPECT_EQ(proto.subStatDescription(column), udp.subStatDescription(column));
    }
    for (unsigned int column : {3U, 4U})
        EXPECT_EQ(tcp.subStatDescription(column), udp.subStatDescription(column));
    EXPECT_NE(tcp.subStatDescription(0), udp.subStatDescription(0));
    EXPECT_NE(tcp.subStatDescription(0), &tcp) << "row and key column are named alike, and two objects";
}

TEST(IPPorts, HoldTheTablesOfTCPAndUDP)
{
    CIPPortsStat ports(nullptr, 11, CIPPortsStat::groupDescription());

    EXPECT_EQ(ports.getDescription()->getStringDescription(), "IP ports");
    EXPECT_THAT(columnsOf(ports),
                ElementsAre("1 TCP ports: 1000 of TCP port", "2 UDP ports: 1000 of UDP port"));
    EXPECT_EQ(ports.getChild(0), &ports.tcpPorts);
    EXPECT_EQ(ports.getChild(1), &ports.udpPorts);
    EXPECT_EQ(ports.tcpPorts.getDescription()->getSubStatsCount(), 1U);
    EXPECT_EQ(ports.tcpPorts.getDescription()->getStatType(), CStatDescription::stDynamicArray);
}

TEST(IPPorts, TakeTheDescriptionTheyAreGiven)
{
    CStructStatDescription const & other = CGlobalFilterStat::groupDescription();
    EXPECT_EQ(CIPPortsStat(nullptr, 11, other).getDescription(), &other);
}

TEST(IPPorts, AndTheTablesOfAStationAreDescribedApart)
{
    CIPPortsStat ports(nullptr, 11);
    CStationStat station(nullptr, 1);

    EXPECT_NE(ports.tcpPorts.getDescription(), station.tcpPorts.getDescription());
    EXPECT_NE(ports.udpPorts.getDescription(), station.udpPorts.getDescription());
    EXPECT_EQ(ports.tcpPorts.getDescription()->subStatDescription(0),
              station.tcpPorts.getDescription()->subStatDescription(0))
        << "with the same rows";
    EXPECT_EQ(ports.udpPorts.getDescription()->subStatDescription(0),
              station.udpPorts.getDescription()->subStatDescription(0));
}

TEST(AgentStatisticTables, HaveTheirLimits)
{
    CAgentStatistic root;

    EXPECT_THAT(columnsOf(root),
                ElementsAre("1 Global statistics: group", "2 Global errors: group", "3 Global filter: group",
                            "4 Frame tables: group", "5 Network stations: 200 of Station statistics",
                            "6 Network protocols: 200 of Protocol statistics",
                            "7 MAC traffic: 200 of MAC traffic", "8 IP traffic: 1000 of IP traffic",
                            "9 ARP connections: 200 of ARP statistics",
                            "10 IP subprotocols: 200 of Protocol statistics", "11 IP ports: group"));
    EXPECT_EQ(root.getChild(11), nullptr);
    EXPECT_EQ(root.ipSubprotocols.getDescription()->subStatDescription(0),
              CGenProtoStat<0>(nullptr, 1).getDescription());
    EXPECT_EQ(root.protocols.getDescription()->subStatDescription(0),
              CProtocolStat(nullptr, 1).getDescription());
}

TEST(AgentStatisticTables, AreKeyedAsTheirRows)
{
    using Root = CAgentStatistic;
    static_assert(std::is_same_v<decltype(Root::stations),
                                 CHashedContainerStat<CStationStat, CMACAddrPacked, CStationStat::CHasher>>);
    static_assert(
        std::is_same_v<decltype(Root::protocols),
                       CHashedContainerStat<CProtocolStat, CProtocolIdPacked, CProtocolStat::CHasher>>);
    static_assert(
        std::is_same_v<
            decltype(Root::macConnections),
            CHashedContainerStat<CMACConnectionStat, CMACConnectionStat::CKey, CMACConnectionStat::CHasher>>);
    static_assert(
        std::is_same_v<
            decltype(Root::ipConnections),
            CHashedContainerStat<CIPConnectionStat, CIPConnectionStat::CKey, CIPConnectionStat::CHasher>>);
    static_assert(std::is_same_v<decltype(Root::arpTable),
                                 CHashedContainerStat<CARPStat, CIPAddress, CARPStat::CHasher>>);
    static_assert(
        std::is_same_v<decltype(Root::ipSubprotocols),
                       CHashedContainerStat<CGenProtoStat<0>, CProtocolIdPacked, CGenProtoStat<0>::CHasher>>);
    static_assert(
        std::is_same_v<decltype(CStationStat::tcpPorts),
                       CHashedContainerStat<CGenPortStat<0>, CProtocolIdPacked, CGenPortStat<0>::CHasher>>);
    static_assert(std::is_same_v<decltype(CStationStat::tcpPorts), decltype(CIPPortsStat::tcpPorts)>);
    static_assert(
        std::is_same_v<decltype(CStationStat::udpPorts),
                       CHashedContainerStat<CGenPortStat<1>, CProtocolIdPacked, CGenPortStat<1>::CHasher>>);
    static_assert(std::is_same_v<decltype(CStationStat::udpPorts), decltype(CIPPortsStat::udpPorts)>);
}

TEST(AgentStatisticTables, LeadToTheColumnsOfTheirRows)
{
    CAgentStatistic root;
    CStationStat & row = *root.stations[mac(macA)];
    CGenPortStat<1> & port = *row.udpPorts[id(53)];

    EXPECT_EQ(row.getOid().toString(), "1.5.1");
    EXPECT_EQ(root.getStatPointer(COid("1.5.1.5"), 1), &row.framesReceived);
    EXPECT_EQ(root.getStatPointer(COid("1.5.1.8.1.4"), 1), &port.dataReceived);
    EXPECT_EQ(port.dataReceived.getOid().toString(), "1.5.1.8.1.4");
    EXPECT_EQ(root.getStatPointer(COid("1.5.1.10"), 1), nullptr);
    EXPECT_EQ(root.getStatPointer(COid("1.5.2"), 1), nullptr);
    EXPECT_EQ(root.getStatPointer(COid("1.11.1"), 1), &root.ipPorts.tcpPorts);
    EXPECT_EQ(root.getStatPointer(COid("1.11.2"), 1), &root.ipPorts.udpPorts);
}

TEST(AgentStatisticTables, PackTheirRowsBehindIdAndKey)
{
    CAgentStatistic root;
    root.stations[mac("00-11-22-33-44-55")];
    root.protocols[id(0x0806)];
    root.ipPorts.udpPorts[id(53)];

    auto const front = [](CBaseStat & table) {
        test::Bytes const whole = packed(table);
        return test::Bytes(whole.begin(), whole.begin() + 8);
    };
    EXPECT_EQ(front(root.stations), bytes("01 00 00 11 22 33 44 55"));
    EXPECT_EQ(front(root.protocols), bytes("01 00 00 00 00 00 08 06"));
    EXPECT_EQ(front(root.ipPorts.udpPorts), bytes("01 00 00 00 00 00 00 35"));
    EXPECT_EQ(packed(root.ipSubprotocols), bytes("00 00"));
}

static_assert(!std::is_copy_constructible_v<CStationStat> && !std::is_move_constructible_v<CStationStat>);
static_assert(!std::is_copy_constructible_v<CIPConnectionStat> && !std::is_copy_constructible_v<CARPStat>);
static_assert(!std::is_copy_constructible_v<CProtocolStat> && !std::is_copy_constructible_v<CTcpPortStat>);
static_assert(!std::is_copy_constructible_v<CAgentStatistic> && !std::is_copy_assignable_v<CStationStat>);

} // namespace
