// What a frame costs: frames a second through analyzeFrame over frames of real captures that lie in memory.

#include "host/LoadedCapture.h"

#include "ketstats/ketstats.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

using KetStats::CKetrinStatManager;
using KetStats::COid;

ketmon::CLoadedCapture const & capture(std::string const & name)
{
    static std::map<std::string, ketmon::CLoadedCapture> loaded;
    auto const [entry, fresh] = loaded.try_emplace(name);
    if (fresh)
        entry->second.load(std::string(KETSTATS_CAPTURES) + '/' + name);
    return entry->second;
}

// All frames of a capture through one frame object, as a capture loop does it.
template <class Operation>
void overFrames(benchmark::State & state, std::string const & name, Operation const & operation)
{
    auto const & loaded = capture(name);
    CNetworkFrame frame;
    for (auto _ : state)
        for (auto const & at : loaded.frames()) {
            frame.Assign(loaded.data(at), at.capturedLength, at.length);
            operation(frame);
        }
    auto const frames = static_cast<double>(state.iterations()) * static_cast<double>(loaded.frames().size());
    state.counters["frames/s"] = benchmark::Counter(frames, benchmark::Counter::kIsRate);
    state.counters["time/frame"] =
        benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// The capture layer alone.
void CaptureAnalysis(benchmark::State & state, std::string const & name)
{
    overFrames(state, name, [](CNetworkFrame & frame) { benchmark::DoNotOptimize(frame.AnalyzeFrame()); });
}

// analyzeFrame with the groups of these identifiers enabled, gate and capture analysis included.
void AnalyzeFrame(benchmark::State & state, std::string const & name, std::vector<std::string> const & groups)
{
    CKetrinStatManager manager;
    for (std::string const & group : groups)
        manager.enableStatistic(COid(group));
    manager.beginAnalyzing(nullptr);
    overFrames(state, name, [&](CNetworkFrame & frame) { manager.analyzeFrame(&frame); });
}

BENCHMARK_CAPTURE(CaptureAnalysis, internet_mixed, "internet-mixed.pcap");
BENCHMARK_CAPTURE(AnalyzeFrame, internet_mixed_global_counters, "internet-mixed.pcap", {});
BENCHMARK_CAPTURE(AnalyzeFrame, internet_mixed_frame_tables, "internet-mixed.pcap", {"1.4"});
BENCHMARK_CAPTURE(AnalyzeFrame, many_stations_frame_tables, "many-stations-arp.pcap", {"1.4"});

std::vector<std::string> const allGroups = {"1.1", "1.2", "1.3", "1.4", "1.5", "1.6", "1.7", "1.8", "1.9"};

BENCHMARK_CAPTURE(AnalyzeFrame, internet_mixed_all, "internet-mixed.pcap", allGroups);
BENCHMARK_CAPTURE(AnalyzeFrame, many_connections_all, "many-connections.pcap", allGroups);

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
