// What a sample of the groups of fixed shape costs.

#include "ketstats/ketstats.h"

#include <benchmark/benchmark.h>

namespace {

using KetStats::CAgentStatistic;
using KetStats::CBaseStat;

// The groups "Global statistics", "Global errors", "Global filter" and "Frame tables".
template <class Operation>
void overFixedGroups(CAgentStatistic & root, Operation const & operation)
{
    for (unsigned int index = 0; index < 4; ++index)
        operation(index, *root.getChild(index));
}

void CompareAssignFixedGroups(benchmark::State & state)
{
    CAgentStatistic live;
    CAgentStatistic sample;
    for (auto _ : state) {
        live.globalStatistics.transmittedFrames.add(1);
        overFixedGroups(sample, [&](unsigned int index, CBaseStat & group) {
            benchmark::DoNotOptimize(group.compareAssign(*live.getChild(index)));
        });
    }
}
BENCHMARK(CompareAssignFixedGroups);

void PackFixedGroups(benchmark::State & state, bool onlyChanged)
{
    CAgentStatistic root;
    ktools::CMemoryBuffer buffer;
    if (onlyChanged)
        root.resetChanged();
    for (auto _ : state) {
        buffer.size = 0;
        overFixedGroups(root, [&](unsigned int, CBaseStat & group) { group.packValue(buffer, onlyChanged); });
        benchmark::DoNotOptimize(buffer.data);
    }
    state.counters["bytes"] = buffer.size;
}
BENCHMARK_CAPTURE(PackFixedGroups, full, false);
BENCHMARK_CAPTURE(PackFixedGroups, quiet, true);

} // namespace
