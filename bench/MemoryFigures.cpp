// Prints how much memory a statistic tree takes: what it asks for, and what of that is resident.

#include "bench/Keys.h"

#include "ketstats/ketstats.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>

using namespace KetStats;
using bench::keyOf;
using bench::portOf;

namespace {

long residentKiB()
{
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * sysconf(_SC_PAGESIZE) / 1024;
}

// Rows in the tables of stations, protocols, MAC and IP traffic, and two ports each way for each station.
void fillLargeTables(CAgentStatistic & tree, unsigned int rows, bool ports)
{
    for (unsigned int i = 0; i < rows; ++i) {
        CStationStat & station = *tree.stations[keyOf<CMACAddrPacked>(i)];
        station.framesTransmitted.add(1);
        for (unsigned int port = 0; ports && port < 2; ++port) {
            station.tcpPorts[portOf(port)]->framesTransmitted.add(1);
            station.udpPorts[portOf(port)]->framesTransmitted.add(1);
        }
        tree.macConnections[keyOf<CMACConnectionStat::CKey>(i)]->framesTransmitted.add(1);
        tree.ipConnections[keyOf<CIPConnectionStat::CKey>(i)]->framesTransmitted.add(1);
    }
}

void fillTables(CAgentStatistic & tree)
{
    for (unsigned int i = 0; i < 199; ++i) {
        tree.stations[keyOf<CMACAddrPacked>(i)]->framesTransmitted.add(1);
        tree.protocols[portOf(i)]->framesTransmitted.add(1);
        tree.macConnections[keyOf<CMACConnectionStat::CKey>(i)]->framesTransmitted.add(1);
        tree.arpTable[keyOf<CIPAddress>(i)];
        tree.ipSubprotocols[portOf(i)]->framesTransmitted.add(1);
    }
    for (unsigned int i = 0; i < 999; ++i) {
        tree.ipConnections[keyOf<CIPConnectionStat::CKey>(i)]->framesTransmitted.add(1);
        tree.ipPorts.tcpPorts[portOf(i)]->framesTransmitted.add(1);
        tree.ipPorts.udpPorts[portOf(i)]->framesTransmitted.add(1);
    }
}

void fillStationPorts(CAgentStatistic & tree, unsigned int ports)
{
    for (unsigned int i = 0; i < 199; ++i)
        for (unsigned int port = 0; port < ports; ++port) {
            CStationStat & station = *tree.stations[keyOf<CMACAddrPacked>(i)];
            station.tcpPorts[portOf(port)]->framesTransmitted.add(1);
            station.udpPorts[portOf(port)]->framesTransmitted.add(1);
        }
}

// A client of the tree that was sampled and packed.
std::unique_ptr<CStatSnapshot> client(CAgentStatistic const & tree, char const * selection)
{
    auto snapshot = std::make_unique<CStatSnapshot>(tree.limits());
    snapshot->addOid(COid(selection));
    snapshot->holdSelectedOnly(true);
    snapshot->initSnapshot(tree);
    ktools::CMemoryBuffer buffer(32 << 20, false);
    for (int sample = 0; sample < 3; ++sample) {
        snapshot->nextSample(tree);
        snapshot->pack(buffer, sample != 0);
    }
    return snapshot;
}

} // namespace

int main()
{
    {
        CAgentStatistic const warmUp; // descriptions and strings are there from now on
    }
    malloc_trim(0);
    long before = residentKiB();
    std::size_t takenBefore = mallinfo2().uordblks + mallinfo2().hblkhd;
    auto const fromHere = [&] {
        malloc_trim(0);
        before = residentKiB();
        takenBefore = mallinfo2().uordblks + mallinfo2().hblkhd;
    };
    auto const tree = std::make_unique<CAgentStatistic>();

    auto const line = [&](char const * what) {
        auto const taken = mallinfo2().uordblks + mallinfo2().hblkhd - takenBefore;
        std::printf("%-58s %8ld KiB resident %8zu KiB taken\n", what, residentKiB() - before, taken / 1024);
    };
    line("an empty tree");
    fillTables(*tree);
    line("all tables full, stations without ports");
    fillStationPorts(*tree, 20);
    line("199 stations with 20 TCP and 20 UDP ports each");
    fillStationPorts(*tree, 199);
    line("199 stations with 199 TCP and 199 UDP ports each");
    fromHere();
    auto const ofAll = client(*tree, "1");
    line("a client of all of that");
    ofAll->getStat(COid("1"));
    line("the same once it looked at it");
    fromHere();
    auto const ofGlobals = client(*tree, "1.1");
    line("a client of the global statistics");
    fromHere();

    CTableLimits limits;
    limits.stations = limits.macConnections = limits.ipConnections = 16385;
    auto const large = std::make_unique<CAgentStatistic>(limits);
    line("beside it, an empty tree of up to 16,384 rows a table");
    fillLargeTables(*large, 16384, false);
    line("the same with 16,384 stations, MAC pairs and IP pairs");
    fillLargeTables(*large, 16384, true);
    line("the same with 2 TCP and 2 UDP ports a station");
    return 0;
}
