#include "tests/snapshot/Snapshots.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <malloc.h>

// What is told of the memory that trees and snapshots take at most, against what the free store gave.

using namespace KetStats;
using test::keyNumber;

namespace {

std::size_t taken()
{
    auto const all = mallinfo2();
    return all.uordblks + all.hblkhd;
}

template <class Table>
void fill(Table & table)
{
    using Key = test::KeyOf<std::remove_cvref_t<decltype(*table.begin())>>;
    for (unsigned int n = 1; n < table.getLimit(); ++n)
        test::setValue(*table[keyNumber<Key>(n)], n);
}

void fillAll(CAgentStatistic & tree)
{
    fill(tree.stations);
    for (CStationStat & station : tree.stations) {
        fill(station.tcpPorts);
        fill(station.udpPorts);
    }
    fill(tree.protocols);
    fill(tree.macConnections);
    fill(tree.ipConnections);
    fill(tree.arpTable);
    fill(tree.ipSubprotocols);
    fill(tree.ipPorts.tcpPorts);
    fill(tree.ipPorts.udpPorts);
}

void fillAll(CExtendedStatistic & tree)
{
    fill(tree.ipv6Connections);
    fill(tree.ipv6Protocols);
    fill(tree.ipv6Ports.tcpPorts);
    fill(tree.ipv6Ports.udpPorts);
    fill(tree.vlans.outer);
    fill(tree.vlans.inner);
    fill(tree.neighbours);
}

// Freed blocks that a thread's cache of the C library keeps count as taken: up to seven of each size.
constexpr std::size_t cachedBlocks = 32 << 10;

void expectJustAbove(std::size_t told, std::size_t measured)
{
    EXPECT_GE(told + cachedBlocks, measured);
    EXPECT_LE(static_cast<double>(told), static_cast<double>(measured) * 1.3);
}

CTableLimits largeTables()
{
    CTableLimits limits;
    limits.stations = limits.macConnections = limits.ipConnections = 3000;
    limits.ipv6Connections = limits.neighbours = 3000;
    limits.stationTcpPorts = 5;
    limits.stationUdpPorts = 4;
    return limits;
}

TEST(LargestMemory, IsWhatFullTablesTake)
{
    // A sanitizer's free store tells nothing.
    if (taken() == 0)
        GTEST_SKIP();
    CAgentStatistic const first;
    for (CTableLimits const & limits : {CTableLimits(), largeTables()}) {
        std::size_t const before = taken();
        auto const tree = std::make_unique<CAgentStatistic>(limits);
        fillAll(*tree);
        std::size_t const withTree = taken();
        expectJustAbove(CAgentStatistic::largestMemory(limits), withTree - before);

        for (char const * const selection : {"1", "1.5", "1.8", "1.11"}) {
            SCOPED_TRACE(selection);
            std::bitset<12> groups;
            COid const oid(selection);
            oid.length() == 1 ? groups.set() : groups.set(oid[1]);
            ktools::CMemoryBuffer buffer(64 << 20, false);
            std::size_t const beforeSnapshot = taken();
            auto const snapshot = std::make_unique<CStatSnapshot>(limits);
            snapshot->addOid(oid);
            snapshot->holdSelectedOnly(true);
            snapshot->initSnapshot(*tree);
            for (int sample = 0; sample < 3; ++sample) {
                snapshot->nextSample(*tree);
                snapshot->pack(buffer, sample != 0);
            }

            expectJustAbove(CStatSnapshot::largestMemory(limits, groups), taken() - beforeSnapshot);
        }
    }
}

TEST(LargestMemory, OfTheSecondTreeIsWhatItsFullTablesTake)
{
    if (taken() == 0)
        GTEST_SKIP();
    CExtendedStatistic const first;
    for (CTableLimits const & limits : {CTableLimits(), largeTables()}) {
        auto const other = std::make_unique<CAgentStatistic>(limits);
        std::size_t const before = taken();
        auto const tree = std::make_unique<CExtendedStatistic>(limits);
        fillAll(*tree);
        expectJustAbove(CExtendedStatistic::largestMemory(limits), taken() - before);

        for (char const * const selection : {"2", "2.1", "2.2", "2.3", "2.4", "2.5"}) {
            SCOPED_TRACE(selection);
            std::bitset<8> groups;
            COid const oid(selection);
            oid.length() == 1 ? groups.set() : groups.set(oid[1]);
            ktools::CMemoryBuffer buffer(64 << 20, false);
            std::size_t const beforeSnapshot = taken();
            auto const snapshot = std::make_unique<CStatSnapshot>(limits);
            snapshot->addOid(oid);
            snapshot->holdSelectedOnly(true);
            snapshot->initSnapshot(*other, *tree);
            for (int sample = 0; sample < 3; ++sample) {
                snapshot->nextSample(*other, *tree);
                snapshot->pack(buffer, sample != 0);
            }

            expectJustAbove(CStatSnapshot::largestMemory(limits, {}, groups), taken() - beforeSnapshot);
        }
    }
}

// Whoever looks at the first tree alone pays for no other.
TEST(LargestMemory, OfASnapshotIsThatOfTheTreesThatItSelects)
{
    CTableLimits const limits;
    std::bitset<12> const all = ~std::bitset<12>();
    std::size_t const first = CStatSnapshot::largestMemory(limits, all);

    EXPECT_EQ(CStatSnapshot::largestMemory(limits, all, {}), first);
    EXPECT_GT(CStatSnapshot::largestMemory(limits, all, std::bitset<8>(1U << 5)), first);
    EXPECT_GT(CStatSnapshot::largestMemory(limits, all, ~std::bitset<8>()),
              CStatSnapshot::largestMemory(limits, all, std::bitset<8>(1U << 4)));
}

TEST(LargestMemory, OfTheGlobalGroupsAloneIsSmall)
{
    CTableLimits limits;
    limits.stations = limits.ipConnections = 65535;

    EXPECT_LT(CStatSnapshot::largestMemory(limits, std::bitset<12>(1U << 1)), 40U << 10);
}

} // namespace
