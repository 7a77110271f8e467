// What a frame costs: the time of analyzeFrame over frames that lie in memory, gate and capture analysis
// included.

#include "bench/Traffic.h"

#include "ketstats/ketstats.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using KetStats::CKetrinStatManager;
using KetStats::COid;

void countFrames(benchmark::State & state, std::size_t framesEach)
{
    double const frames = static_cast<double>(state.iterations()) * static_cast<double>(framesEach);
    state.counters["frames/s"] = benchmark::Counter(frames, benchmark::Counter::kIsRate);
    state.counters["time/frame"] =
        benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// The capture layer alone.
void CaptureAnalysis(benchmark::State & state)
{
    auto const & capture = bench::bundled("internet-mixed.pcap");
    for (auto _ : state)
        capture.overFrames([](CNetworkFrame & frame) { benchmark::DoNotOptimize(frame.AnalyzeFrame()); });
    countFrames(state, capture.frames().size());
}
BENCHMARK(CaptureAnalysis);

// analyzeFrame with the groups of these identifiers enabled.
void AnalyzeFrame(benchmark::State & state, ketmon::CLoadedCapture const & (*traffic)(),
                  std::vector<std::string> const & groups)
{
    auto const & capture = traffic();
    CKetrinStatManager manager;
    for (std::string const & group : groups)
        manager.enableStatistic(COid(group));
    manager.beginAnalyzing(nullptr);
    capture.overFrames([&](CNetworkFrame & frame) { manager.analyzeFrame(&frame); });
    for (auto _ : state)
        capture.overFrames([&](CNetworkFrame & frame) { manager.analyzeFrame(&frame); });
    countFrames(state, capture.frames().size());
}

ketmon::CLoadedCapture const & internetMixed()
{
    return bench::bundled("internet-mixed.pcap");
}

std::vector<std::string> const all = {"1.1", "1.2", "1.3", "1.4", "1.5", "1.6", "1.7", "1.8", "1.9"};

BENCHMARK_CAPTURE(AnalyzeFrame, internet_global_counters, &internetMixed, {});
BENCHMARK_CAPTURE(AnalyzeFrame, internet_frame_tables, &internetMixed, {"1.4"});
BENCHMARK_CAPTURE(AnalyzeFrame, internet_all, &internetMixed, all);
BENCHMARK_CAPTURE(AnalyzeFrame, mix_all, &bench::mixedTraffic, all);
BENCHMARK_CAPTURE(AnalyzeFrame, few_connections_all, &bench::fewConnections, all);
BENCHMARK_CAPTURE(AnalyzeFrame, flood_all, &bench::flood, all);

// So many rows in each of the large tables, all of which are there: what a frame costs beside the caches.
void AnalyzeFrameOfConversations(benchmark::State & state, std::vector<std::string> const & groups)
{
    auto const rows = static_cast<unsigned int>(state.range(0));
    auto const & capture = bench::conversations(rows);
    KetStats::CTableLimits limits;
    limits.ipConnections = limits.macConnections = rows + 1;
    limits.stations = std::min(2 * rows + 1, KetStats::largestTableLimit);
    CKetrinStatManager manager(limits);
    for (std::string const & group : groups)
        manager.enableStatistic(COid(group));
    manager.beginAnalyzing(nullptr);
    manager.setTCPPortRange(1, 0); // the ports of stations have figures of their own
    capture.overFrames([&](CNetworkFrame & frame) { manager.analyzeFrame(&frame); });
    for (auto _ : state)
        capture.overFrames([&](CNetworkFrame & frame) { manager.analyzeFrame(&frame); });
    countFrames(state, capture.frames().size());
}
BENCHMARK_CAPTURE(AnalyzeFrameOfConversations, ip_traffic, {"1.8"})->Arg(1000)->Arg(10000)->Arg(65534);
BENCHMARK_CAPTURE(AnalyzeFrameOfConversations, ip_and_mac_traffic, {"1.7", "1.8"})
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(65534);
BENCHMARK_CAPTURE(AnalyzeFrameOfConversations, all, all)->Arg(1000)->Arg(10000)->Arg(32767);

void GateWriter(benchmark::State & state)
{
    KetStats::CReadWriteGate gate;
    for (auto _ : state) {
        gate.enterWriter();
        gate.leaveWriter();
    }
}
BENCHMARK(GateWriter);

void GateReader(benchmark::State & state)
{
    KetStats::CReadWriteGate gate;
    for (auto _ : state) {
        gate.enterReader();
        gate.leaveReader();
    }
}
BENCHMARK(GateReader);

} // namespace
