#include "ketstats/schema/AgentStatistic.h"
#include "ketstats/text/StatDescription.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>
#include <vector>

using namespace KetStats;

namespace {

void expectIdsOfPositions(CStatDescription const & group)
{
    for (unsigned int i = 0; i < group.getSubStatsCount(); ++i) {
        CStatDescription const & child = *group.subStatDescription(i);
        if (group.getStatType() != CStatDescription::stDynamicArray) {
            EXPECT_EQ(child.getOid(), i + 1);
        }
        expectIdsOfPositions(child);
    }
}

// The descriptions are made for the first tree of a process, so this is worth something in a process of its own,
// and most under the thread sanitizer.
TEST(ConcurrentTrees, AreBuiltForTheFirstTimeOnSeveralThreads)
{
    constexpr int count = 8;
    std::latch start(count);
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&start, i] {
            start.arrive_and_wait();
            // Groups share descriptions of columns, and some are asked for without the tree.
            if (i % 4 == 1)
                expectIdsOfPositions(CStationStat::groupDescription());
            if (i % 4 == 2)
                expectIdsOfPositions(CTcpPortStat::groupDescription());
            if (i % 4 == 3)
                expectIdsOfPositions(CUdpPortStat::groupDescription());
            CAgentStatistic const tree;
            expectIdsOfPositions(*tree.getDescription());
        });
    for (std::thread & thread : threads)
        thread.join();
}

} // namespace
