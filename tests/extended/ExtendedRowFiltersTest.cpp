#include "ketstats/extended/ExtendedStatistic.h"
#include "ketstats/schema/RowFilters.h"

#include "tests/support/Filters.h"
#include "tests/support/IPv6Frames.h"

#include <gtest/gtest.h>

#include <functional>

using namespace KetStats;
using namespace test;

namespace {

// What the filter of a row packs to, which tells all of it.
Bytes filterOf(CBaseStat const & row)
{
    Filter const filter(buildFilter(&row));
    return filter ? packedFilter(*filter) : Bytes();
}

class ExtendedRowFilters : public testing::Test
{
protected:
    CExtendedStatistic tree;
};

TEST_F(ExtendedRowFilters, OfTrafficIsIPv6WithItsSourceAndItsDestination)
{
    auto const * const row = tree.ipv6Connections[{ipv6("2001:db8::a"), ipv6("2001:db8::b")}];

    EXPECT_EQ(filterOf(*row),
              packedFilter(*all(protocol(0x86DD), address6("2001:db8::a", 8), address6("2001:db8::b", 24))));
}

TEST_F(ExtendedRowFilters, OfAProtocolIsIPv6ThatCarriesIt)
{
    EXPECT_EQ(filterOf(*tree.ipv6Protocols[id(58)]), packedFilter(*all(protocol(0x86DD), protocol6(58))));
}

TEST_F(ExtendedRowFilters, OfAPortIsIPv6ThatCarriesItsTransport)
{
    EXPECT_EQ(filterOf(*tree.ipv6Ports.tcpPorts[id(443)]),
              packedFilter(*all(protocol(0x86DD), protocol6(6), port6(443, CIPPortFilter::ptTCP))));
    EXPECT_EQ(filterOf(*tree.ipv6Ports.udpPorts[id(53)]),
              packedFilter(*all(protocol(0x86DD), protocol6(17), port6(53, CIPPortFilter::ptUDP))));
}

TEST_F(ExtendedRowFilters, OfAVlanIsItsIdentifierInThatTag)
{
    EXPECT_EQ(filterOf(*tree.vlans.outer[id(0xFFF)]), packedFilter(*vlan(0xFFF)));
    EXPECT_EQ(filterOf(*tree.vlans.inner[id(7)]), packedFilter(*vlan(7, CVlanFilter::vtInner)));
}

TEST_F(ExtendedRowFilters, OfANeighbourIsICMPv6AtItsMACAddress)
{
    auto const * const row = tree.neighbours.createIfNew(ipv6("fe80::1"), mac(macC));

    EXPECT_EQ(filterOf(*row), packedFilter(*all(protocol(0x86DD), protocol6(58), any(from(macC), to(macC)))));
}

TEST_F(ExtendedRowFilters, OfAColumnIsThatOfItsRow)
{
    auto & row = *tree.vlans.outer[id(5)];

    for (unsigned int i = 0; i < row.getChildrenCount(); ++i)
        EXPECT_EQ(filterOf(*row.getChild(i)), filterOf(row)) << i;
}

TEST_F(ExtendedRowFilters, WhatIsInNoRowHasNone)
{
    unsigned int nodes = 0;
    std::function<void(CBaseStat &)> const check = [&](CBaseStat & stat) {
        ++nodes;
        EXPECT_EQ(buildFilter(&stat), nullptr) << stat.getOid().toString();
        if (auto * const group = dynamic_cast<CBaseStaticContainerStat *>(&stat))
            for (unsigned int i = 0; i < group->getChildrenCount(); ++i)
                check(*group->getChild(i));
    };

    check(tree);

    EXPECT_GT(nodes, 50U);
}

TEST_F(ExtendedRowFilters, SayTheirTransportOnceInTheirExpression)
{
    Filter const filter(buildFilter(tree.ipv6Ports.tcpPorts[id(443)]));

    EXPECT_EQ(filter->GetDescription(), port6(443, CIPPortFilter::ptTCP)->GetDescription());
}

} // namespace
