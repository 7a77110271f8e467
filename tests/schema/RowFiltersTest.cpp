#include "ketstats/schema/RowFilters.h"

#include "ketstats/schema/AgentStatistic.h"

#include "tests/support/Bytes.h"
#include "tests/support/Frames.h"
#include "tests/support/Groups.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <typeinfo>

using namespace KetStats;
using test::Frame;
using test::hostA;
using test::hostB;
using test::hostC;
using test::id;
using test::ip;
using test::mac;
using test::macA;
using test::macB;
using test::macC;

namespace {

using Filter = std::unique_ptr<CFilter>;

// All that there is to see of a filter, as text. Its class and its id must agree, and a description or a
// negation, which no filter of a row has, would show.
std::string shapeOf(CFilter const * filter);

template <class Kind>
Kind const & as(CFilter const & filter, eFilterId expected)
{
    EXPECT_EQ(filter.GetFilterId(), expected);
    EXPECT_EQ(typeid(filter), typeid(Kind));
    return dynamic_cast<Kind const &>(filter);
}

std::string shapeOf(CCompoundFilter const & compound)
{
    std::string text;
    for (unsigned int i = 0; i < compound.size(); ++i)
        text += (i == 0 ? "" : compound.mode == 0 ? " & " : " | ") + shapeOf(compound.GetAt(i));
    EXPECT_TRUE(compound.mode == 0 || compound.mode == 1);
    return '(' + text + ')';
}

std::string shapeOf(CFilter const & filter)
{
    switch (filter.GetFilterId()) {
    case fiCompound:
        return shapeOf(as<CCompoundFilter>(filter, fiCompound));
    case fiSourceMAC:
        return "from " + std::string(as<CSrcMACFilter>(filter, fiSourceMAC).address);
    case fiDestinationMAC:
        return "to " + std::string(as<CDstMACFilter>(filter, fiDestinationMAC).address);
    case fiProtocol:
        return "protocol " + hexString(as<CProtocolFilter>(filter, fiProtocol).protocolId.bytes.data(), 6);
    case fiIPSubprotocol:
        return "number " + std::to_string(as<CIPSubprotocolFilter>(filter, fiIPSubprotocol).protocol);
    case fiIPPort: {
        auto const & port = as<CIPPortFilter>(filter, fiIPPort);
        return "port " + std::to_string(port.port) + " type " + std::to_string(port.type) + " operation " +
               std::to_string(port.operation);
    }
    case fiIPAddress: {
        auto const & address = as<CIPAddrFilter>(filter, fiIPAddress);
        return "bytes " + hexString(reinterpret_cast<unsigned char const *>(&address.address), 4) + " at " +
               std::to_string(address.position) + " operation " + std::to_string(address.operation);
    }
    case fiIPv6Address:
    case fiIPv6Protocol:
    case fiIPv6Port:
    case fiVlan:
        break; // no row of this tree
    }
    return "unknown";
}

std::string shapeOf(CFilter const * filter)
{
    if (!filter)
        return "null";
    return (filter->negated ? "not " : "") + shapeOf(*filter) +
           (filter->description.empty() ? "" : " \"" + filter->description + '"');
}

std::string shapeFor(CBaseStat const & stat)
{
    return shapeOf(Filter(buildFilter(&stat)).get());
}

// What a row itself gives, asked through its base.
std::string ownShape(CBaseStaticContainerStat const & row)
{
    return shapeOf(Filter(row.buildFilter()).get());
}

char const * const atA = "(from 02-00-00-00-00-0A | to 02-00-00-00-00-0A)";
char const * const tcpPort80 = "(protocol 00-00-00-00-08-00 & number 6 & port 80 type 3 operation 0)";
char const * const udpPort53 = "(protocol 00-00-00-00-08-00 & number 17 & port 53 type 4 operation 0)";

CMACAddr address(char const * text)
{
    return CMACAddr(mac(text).bytes.data());
}

CProtocolIdPacked key(std::array<unsigned char, 6> const & octets)
{
    CProtocolIdPacked result;
    result.bytes = octets;
    return result;
}

// A tree with a row in every table: station A with TCP port 80 and UDP port 53, and so on.
struct Tree
{
    Tree()
        : station(*root.stations[mac(macA)]),
          stationTcp(*station.tcpPorts[id(80)]),
          stationUdp(*station.udpPorts[id(53)]),
          protocol(*root.protocols[id(0x88CC)]),
          macConnection(*root.macConnections[{address(macA), address(macB)}]),
          ipConnection(*root.ipConnections[{ip("10.0.0.10"), ip("10.0.0.11")}]),
          arp(*root.arpTable.createIfNew(ip("10.0.0.12"), mac(macC))),
          subprotocol(*root.ipSubprotocols[id(47)]),
          tcp(*root.ipPorts.tcpPorts[id(80)]),
          udp(*root.ipPorts.udpPorts[id(53)])
    {}

    CAgentStatistic root;
    CStationStat & station;
    CTcpPortStat & stationTcp;
    CUdpPortStat & stationUdp;
    CProtocolStat & protocol;
    CMACConnectionStat & macConnection;
    CIPConnectionStat & ipConnection;
    CARPStat & arp;
    CGenProtoStat<0> & subprotocol;
    CTcpPortStat & tcp;
    CUdpPortStat & udp;
};

TEST(RowFilters, StationIsEitherEnd)
{
    CStationStat const row(nullptr, 1, mac(macA));

    EXPECT_EQ(ownShape(row), "(from 02-00-00-00-00-0A | to 02-00-00-00-00-0A)");
}

TEST(RowFilters, ProtocolStandsAloneWithAllSixBytesOfItsKey)
{
    EXPECT_EQ(ownShape(CProtocolStat(nullptr, 1, id(0x88CC))), "protocol 00-00-00-00-88-CC");
    EXPECT_EQ(ownShape(CProtocolStat(nullptr, 1, key({1, 2, 3, 4, 5, 6}))), "protocol 01-02-03-04-05-06");
    EXPECT_EQ(ownShape(CProtocolStat(nullptr, 1)), "protocol 00-00-00-00-00-00");
}

TEST(RowFilters, MACConnectionIsItsSourceAndItsDestination)
{
    Tree const tree;

    EXPECT_EQ(ownShape(tree.macConnection), "(from 02-00-00-00-00-0A & to 02-00-00-00-00-0B)");
}

TEST(RowFilters, IPConnectionIsIPWithItsSourceAndItsDestination)
{
    Tree const tree;

    EXPECT_EQ(ownShape(tree.ipConnection),
              "(protocol 00-00-00-00-08-00 & bytes 0A-00-00-0A at 12 operation 0 "
              "& bytes 0A-00-00-0B at 16 operation 0)");
}

TEST(RowFilters, ARPRowIsARPOfItsMACAddress)
{
    CARPStat const row(nullptr, 1, ip("10.0.0.12"), mac(macC));

    EXPECT_EQ(ownShape(row),
              "(protocol 00-00-00-00-08-06 & (from 02-00-00-00-00-0C | to 02-00-00-00-00-0C))");
}

TEST(RowFilters, SubprotocolIsIPWithTheLastByteOfTheKey)
{
    EXPECT_EQ(ownShape(CGenProtoStat<0>(nullptr, 1, id(47))), "(protocol 00-00-00-00-08-00 & number 47)");
    EXPECT_EQ(ownShape(CGenProtoStat<0>(nullptr, 1, key({1, 2, 3, 4, 5, 255}))),
              "(protocol 00-00-00-00-08-00 & number 255)");
}

TEST(RowFilters, PortIsIPWithItsTransportAndTheLastTwoBytesOfTheKey)
{
    EXPECT_EQ(ownShape(CTcpPortStat(nullptr, 1, id(80))), tcpPort80);
    EXPECT_EQ(ownShape(CUdpPortStat(nullptr, 1, id(53))), udpPort53);
    EXPECT_EQ(ownShape(CTcpPortStat(nullptr, 1, key({9, 9, 9, 9, 0xFE, 0x01}))),
              "(protocol 00-00-00-00-08-00 & number 6 & port 65025 type 3 operation 0)");
    EXPECT_EQ(ownShape(CUdpPortStat(nullptr, 1, key({9, 9, 9, 9, 0x01, 0xFE}))),
              "(protocol 00-00-00-00-08-00 & number 17 & port 510 type 4 operation 0)");
}

// Every byte of an address passes through its text.
TEST(RowFilters, AddressesKeepAllTheirBytes)
{
    for (char const * const text : {"00-00-00-00-00-00", "FF-FF-FF-FF-FF-FF", "01-23-45-67-89-AB",
                                    "FE-DC-BA-98-76-54", "00-0A-00-B0-00-0C"}) {
        std::string const both = std::string("(from ") + text + " | to " + text + ")";
        EXPECT_EQ(ownShape(CStationStat(nullptr, 1, mac(text))), both);
        EXPECT_EQ(ownShape(CARPStat(nullptr, 1, ip("1.2.3.4"), mac(text))),
                  "(protocol 00-00-00-00-08-06 & " + both + ")");
    }
}

// The counters, the summary figures and a connection's hidden key say nothing of what is selected.
TEST(RowFilters, ReadNothingOfARowButTheColumnsOfItsKey)
{
    Tree tree;
    std::vector<CBaseStaticContainerStat *> const rows{
        &tree.station,      &tree.stationTcp, &tree.stationUdp,  &tree.protocol, &tree.macConnection,
        &tree.ipConnection, &tree.arp,        &tree.subprotocol, &tree.tcp,      &tree.udp};
    std::vector<std::string> before;
    for (CBaseStaticContainerStat const * row : rows)
        before.push_back(ownShape(*row));

    auto const count = [](auto & row) {
        row.dataTransmitted = 0x0102030405060708;
        row.framesTransmitted = 77;
        if constexpr (requires { row.framesReceived; })
            row.framesReceived = 78;
        if constexpr (requires { row.averageFrameSize; })
            row.averageFrameSize = 79;
        if constexpr (requires { row.percentage; })
            row.percentage = percentVal(12.5);
    };
    count(tree.station);
    count(tree.stationTcp);
    count(tree.stationUdp);
    count(tree.protocol);
    count(tree.macConnection);
    count(tree.ipConnection);
    count(tree.subprotocol);
    count(tree.tcp);
    count(tree.udp);
    tree.station.vlanId = std::string("5");
    tree.arp.ipAddress = ip("192.168.1.1");
    tree.macConnection.key = {};
    tree.ipConnection.key = {};

    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(ownShape(*rows[i]), before[i]) << i;
}

TEST(RowFilters, ConnectionsFollowTheirColumns)
{
    Tree tree;

    tree.macConnection.source = address(macC);
    tree.ipConnection.destination = ip("172.16.0.1");

    EXPECT_EQ(ownShape(tree.macConnection), "(from 02-00-00-00-00-0C & to 02-00-00-00-00-0B)");
    EXPECT_EQ(ownShape(tree.ipConnection),
              "(protocol 00-00-00-00-08-00 & bytes 0A-00-00-0A at 12 operation 0 "
              "& bytes AC-10-00-01 at 16 operation 0)");
}

TEST(RowFilters, EachCallMakesAFilterOfItsOwn)
{
    CStationStat const row(nullptr, 1, mac(macA));
    Filter const first(row.buildFilter());
    Filter second(row.buildFilter());
    ASSERT_NE(first, second);

    second.reset();

    EXPECT_EQ(shapeOf(first.get()), atA);
}

TEST(BuildFilter, NullGivesNull)
{
    EXPECT_EQ(buildFilter(nullptr), nullptr);
}

// Whatever stands in no row, down to the last column of the frame tables and the global counters.
TEST(BuildFilter, WhatIsInNoRowGivesNull)
{
    Tree tree;
    unsigned int nodes = 0;
    std::function<void(CBaseStat &)> const check = [&](CBaseStat & stat) {
        ++nodes;
        EXPECT_EQ(shapeFor(stat), "null") << stat.getOid().toString();
        if (auto * const group = dynamic_cast<CBaseStaticContainerStat *>(&stat)) {
            EXPECT_EQ(ownShape(*group), "null") << stat.getOid().toString();
            for (unsigned int i = 0; i < group->getChildrenCount(); ++i)
                check(*group->getChild(i));
        }
    };

    check(tree.root);

    // The root, 6 + 13 + 5 global figures with their 3 groups, 9 rows of 4 columns with their 3 groups, 6
    // tables, and "IP ports" with its 2.
    EXPECT_EQ(nodes, 1U + 24 + 3 + 9 * 5 + 3 + 6 + 3);
}

TEST(BuildFilter, ARowGivesItsOwnFilterWithNothingAroundIt)
{
    Tree const tree;
    for (CBaseStaticContainerStat const * row : std::initializer_list<CBaseStaticContainerStat const *>{
             &tree.station, &tree.protocol, &tree.macConnection, &tree.ipConnection, &tree.arp,
             &tree.subprotocol, &tree.tcp, &tree.udp}) {
        EXPECT_EQ(shapeFor(*row), ownShape(*row)) << row->getOid().toString();
        EXPECT_NE(shapeFor(*row), "null");
    }
}

TEST(BuildFilter, EveryColumnGivesTheFilterOfItsRow)
{
    Tree tree;
    for (CBaseStaticContainerStat * row : std::initializer_list<CBaseStaticContainerStat *>{
             &tree.station, &tree.stationTcp, &tree.stationUdp, &tree.protocol, &tree.macConnection,
             &tree.ipConnection, &tree.arp, &tree.subprotocol, &tree.tcp, &tree.udp})
        for (unsigned int i = 0; i < row->getChildrenCount(); ++i)
            EXPECT_EQ(shapeFor(*row->getChild(i)), shapeFor(*row)) << row->getChild(i)->getOid().toString();

    EXPECT_EQ(shapeFor(tree.station.framesTransmitted), atA);
    EXPECT_EQ(shapeFor(tree.station.vlanId), atA);
    EXPECT_EQ(shapeFor(tree.station.tcpPorts), atA) << "a table within a row";
}

TEST(BuildFilter, APortOfTheWholeNetworkGivesThatPortAlone)
{
    Tree const tree;

    EXPECT_EQ(shapeFor(tree.tcp), tcpPort80);
    EXPECT_EQ(shapeFor(tree.udp.framesReceived), udpPort53);
}

TEST(BuildFilter, APortOfAStationGivesThePortAndThenTheStation)
{
    Tree const tree;

    EXPECT_EQ(shapeFor(tree.stationTcp), std::string("(") + tcpPort80 + " & " + atA + ")");
    EXPECT_EQ(shapeFor(tree.stationUdp.framesReceived), std::string("(") + udpPort53 + " & " + atA + ")");
}

TEST(BuildFilter, ARowWithoutATreeGivesItsOwnFilter)
{
    CStationStat const row(nullptr, 1, mac(macA));

    EXPECT_EQ(shapeFor(row), atA);
    EXPECT_EQ(shapeFor(row.address), atA);
}

// A group whose filter tells when it goes, and where a group above it fails.
class Selecting : public test::Pair
{
public:
    using Pair::Pair;

    CFilter * buildFilter() const override
    {
        if (fails)
            throw std::runtime_error("no filter");
        return name.empty() ? nullptr : new Counted(name);
    }

    class Counted : public CSrcMACFilter
    {
    public:
        explicit Counted(std::string const & theName) : CSrcMACFilter(theName, false) { ++living; }
        ~Counted() override { --living; }
        static inline int living = 0;
    };

    std::string name;
    bool fails = false;
};

// Three groups, each within the next one, and a root that selects nothing.
struct Nested
{
    test::Root root;
    Selecting outer{&root};
    Selecting middle{&outer};
    Selecting inner{&middle};
};

std::string namesIn(CFilter const & filter)
{
    auto const * const compound = dynamic_cast<CCompoundFilter const *>(&filter);
    if (!compound)
        return filter.description;
    EXPECT_EQ(compound->mode, CCompoundFilter::cmAll);
    EXPECT_EQ(compound->description, "");
    EXPECT_FALSE(compound->negated);
    std::string names;
    for (unsigned int i = 0; i < compound->size(); ++i)
        names += '[' + namesIn(*compound->GetAt(i)) + ']';
    return names;
}

TEST(BuildFilter, GathersAllRowsOnTheWayInOneCompoundNearestFirst)
{
    Nested nested;
    nested.outer.name = "outer";
    nested.middle.name = "middle";
    nested.inner.name = "inner";

    Filter const all(buildFilter(&nested.inner.first));
    Filter const upper(buildFilter(&nested.middle));

    EXPECT_EQ(namesIn(*all), "[inner][middle][outer]");
    EXPECT_EQ(namesIn(*upper), "[middle][outer]");
}

TEST(BuildFilter, GroupsWithoutAFilterAreSteppedOver)
{
    Nested nested;
    nested.inner.name = "inner";
    nested.outer.name = "outer";

    Filter const both(buildFilter(&nested.inner));
    nested.inner.name.clear();
    Filter const only(buildFilter(&nested.inner));

    EXPECT_EQ(namesIn(*both), "[inner][outer]");
    EXPECT_EQ(namesIn(*only), "outer");
}

TEST(BuildFilter, TheCallerOwnsAllOfIt)
{
    Nested nested;
    nested.inner.name = "inner";
    Filter one(buildFilter(&nested.inner));
    nested.middle.name = "middle";
    nested.outer.name = "outer";
    Filter three(buildFilter(&nested.inner));
    ASSERT_EQ(Selecting::Counted::living, 4);

    one.reset();
    EXPECT_EQ(Selecting::Counted::living, 3);
    three.reset();

    EXPECT_EQ(Selecting::Counted::living, 0);
}

TEST(BuildFilter, AFailureOnTheWayLeavesNoFilterBehind)
{
    Nested nested;
    nested.inner.name = "inner";
    nested.outer.fails = true;
    EXPECT_THROW(static_cast<void>(buildFilter(&nested.inner)), std::runtime_error);
    EXPECT_EQ(Selecting::Counted::living, 0);

    nested.middle.name = "middle";
    EXPECT_THROW(static_cast<void>(buildFilter(&nested.inner)), std::runtime_error);

    EXPECT_EQ(Selecting::Counted::living, 0);
}

// What the filters are for, in the small.
bool passes(CBaseStat const & stat, test::Bytes const & frame)
{
    return Filter(buildFilter(&stat))->IsSatisfied(std::make_unique<Frame>(frame).get());
}

TEST(BuildFilter, AStationsFilterPassesBothDirections)
{
    Tree const tree;

    EXPECT_TRUE(passes(tree.station, test::tcpFrame(hostA, hostB, 1, 2)));
    EXPECT_TRUE(passes(tree.station, test::tcpFrame(hostB, hostA, 1, 2)));
    EXPECT_FALSE(passes(tree.station, test::tcpFrame(hostB, hostC, 1, 2)));
}

TEST(BuildFilter, AConnectionsFilterPassesOneDirection)
{
    Tree const tree;

    for (CBaseStat const * row :
         std::initializer_list<CBaseStat const *>{&tree.macConnection, &tree.ipConnection}) {
        EXPECT_TRUE(passes(*row, test::tcpFrame(hostA, hostB, 1, 2)));
        EXPECT_FALSE(passes(*row, test::tcpFrame(hostB, hostA, 1, 2)));
    }
}

TEST(BuildFilter, APortOfAStationPassesThatPortAtThatStationOnly)
{
    Tree const tree;

    EXPECT_TRUE(passes(tree.stationTcp, test::tcpFrame(hostA, hostB, 80, 3000)));
    EXPECT_TRUE(passes(tree.stationTcp, test::tcpFrame(hostB, hostA, 3000, 80)));
    EXPECT_FALSE(passes(tree.stationTcp, test::tcpFrame(hostA, hostB, 81, 3000)));
    EXPECT_FALSE(passes(tree.stationTcp, test::udpFrame(hostA, hostB, 80, 3000)));
    EXPECT_FALSE(passes(tree.stationTcp, test::tcpFrame(hostB, hostC, 80, 3000)));
}

} // namespace
