// What a sample costs a client, and what the capture notices of it.

#include "bench/Keys.h"

#include "ketstats/ketstats.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace KetStats;
using bench::keyOf;
using bench::portOf;

namespace {

using std::chrono::steady_clock;

struct CTraffic
{
    unsigned int stations;
    unsigned int portsEach; // of every station, TCP
    unsigned int pairs;     // of IP addresses
    unsigned int ports;     // of the network, TCP
};

constexpr CTraffic typical{50, 4, 300, 40};
constexpr CTraffic full{199, 20, 999, 999};

// Counts one frame in every `step`-th row of all tables, making the rows that aren't there.
void count(CAgentStatistic & tree, CTraffic const & traffic, unsigned int step = 1)
{
    tree.globalStatistics.transmittedFrames.add(1);
    tree.globalStatistics.transmittedData.add(64);
    for (unsigned int i = 0; i < traffic.stations; i += step) {
        CStationStat & station = *tree.stations.countedRenewed(keyOf<CMACAddrPacked>(i));
        station.framesTransmitted.add(1);
        for (unsigned int port = 0; port < traffic.portsEach; ++port)
            station.tcpPorts.counted(portOf(port))->framesTransmitted.add(1);
        tree.macConnections.countedRenewed(keyOf<CMACConnectionStat::CKey>(i))->framesTransmitted.add(1);
    }
    for (unsigned int i = 0; i < traffic.pairs; i += step)
        tree.ipConnections.countedRenewed(keyOf<CIPConnectionStat::CKey>(i))->framesTransmitted.add(1);
    for (unsigned int i = 0; i < traffic.ports; i += step)
        tree.ipPorts.tcpPorts.counted(portOf(i))->framesTransmitted.add(1);
}

struct CClient
{
    explicit CClient(CKetrinStatManager & manager)
    {
        snapshot.addOid(COid("1"));
        snapshot.initSnapshot(manager);
    }

    int sample(CKetrinStatManager & manager, bool onlyChanged)
    {
        buffer.size = 0;
        snapshot.nextSample(manager);
        snapshot.pack(buffer, onlyChanged);
        return buffer.size;
    }

    CStatSnapshot snapshot;
    ktools::CMemoryBuffer buffer;
};

void InitSnapshot(benchmark::State & state, CTraffic traffic)
{
    CKetrinStatManager manager;
    count(manager.getAgentStatistic(), traffic);
    CClient client(manager);
    for (auto _ : state)
        client.snapshot.initSnapshot(manager);
}
BENCHMARK_CAPTURE(InitSnapshot, typical, typical);
BENCHMARK_CAPTURE(InitSnapshot, full, full);

// nextSample and a pack of everything.
void SampleAndPackAll(benchmark::State & state, CTraffic traffic)
{
    CKetrinStatManager manager;
    CClient client(manager);
    count(manager.getAgentStatistic(), traffic);
    int bytes = 0;
    for (auto _ : state)
        bytes = client.sample(manager, false);
    state.counters["bytes"] = bytes;
}
BENCHMARK_CAPTURE(SampleAndPackAll, typical, typical);
BENCHMARK_CAPTURE(SampleAndPackAll, full, full);

// nextSample and a pack of what changed, with a frame in every `step`-th row in between. Of it, what frames wait for is
// nextSample.
void SampleAndPackChanged(benchmark::State & state, CTraffic traffic, unsigned int step)
{
    CKetrinStatManager manager;
    CClient client(manager);
    count(manager.getAgentStatistic(), traffic);
    client.sample(manager, true);
    int bytes = 0;
    steady_clock::duration waited{};
    for (auto _ : state) {
        state.PauseTiming();
        count(manager.getAgentStatistic(), traffic, step);
        state.ResumeTiming();
        client.buffer.size = 0;
        auto const start = steady_clock::now();
        client.snapshot.nextSample(manager);
        waited += steady_clock::now() - start;
        client.snapshot.pack(client.buffer, true);
        bytes = client.buffer.size;
    }
    state.counters["bytes"] = bytes;
    state.counters["wait_us"] =
        std::chrono::duration<double, std::micro>(waited).count() / static_cast<double>(state.iterations());
}
BENCHMARK_CAPTURE(SampleAndPackChanged, typical, typical, 4);
BENCHMARK_CAPTURE(SampleAndPackChanged, full, full, 4);
BENCHMARK_CAPTURE(SampleAndPackChanged, full_all, full, 1);

// The same when nothing happened, without the ARP table, whose flag goes up at every sample, and without the
// number of the sample.
void SampleAndPackQuiet(benchmark::State & state, CTraffic traffic)
{
    CKetrinStatManager manager;
    CStatSnapshot snapshot;
    ktools::CMemoryBuffer buffer;
    for (char const * const group : {"1.4", "1.5", "1.6", "1.7", "1.8", "1.10", "1.11"})
        snapshot.addOid(COid(group));
    snapshot.initSnapshot(manager);
    count(manager.getAgentStatistic(), traffic);
    snapshot.nextSample(manager);
    snapshot.pack(buffer, true);
    for (auto _ : state) {
        buffer.size = 0;
        snapshot.nextSample(manager);
        snapshot.pack(buffer, true);
    }
    state.counters["bytes"] = buffer.size;
}
BENCHMARK_CAPTURE(SampleAndPackQuiet, typical, typical);
BENCHMARK_CAPTURE(SampleAndPackQuiet, full, full);

// The longest that a frame takes while three clients sample full tables, each once a second.
void LongestFrame(benchmark::State & state, bool sampling)
{
    CKetrinStatManager manager;
    manager.beginAnalyzing(nullptr);
    count(manager.getAgentStatistic(), full);
    std::atomic<bool> over{false};
    std::vector<std::thread> clients;
    for (int i = 0; sampling && i < 3; ++i)
        clients.emplace_back([&, i] {
            CClient client(manager);
            std::this_thread::sleep_for(std::chrono::milliseconds(300 * i));
            while (!over) {
                client.sample(manager, true);
                std::this_thread::sleep_for(std::chrono::seconds(1));
            }
        });

    unsigned char const bytes[60] = {};
    CNetworkFrame frame(bytes, sizeof bytes, sizeof bytes);
    steady_clock::duration longest{};
    for (auto _ : state)
        for (auto const end = steady_clock::now() + std::chrono::seconds(3); steady_clock::now() < end;) {
            auto const start = steady_clock::now();
            manager.analyzeFrame(&frame);
            longest = std::max(longest, steady_clock::now() - start);
        }
    over = true;
    for (std::thread & client : clients)
        client.join();
    state.counters["longest_us"] = std::chrono::duration<double, std::micro>(longest).count();
}
BENCHMARK_CAPTURE(LongestFrame, alone, false)->Iterations(1)->UseRealTime();
BENCHMARK_CAPTURE(LongestFrame, three_clients, true)->Iterations(1)->UseRealTime();

} // namespace
