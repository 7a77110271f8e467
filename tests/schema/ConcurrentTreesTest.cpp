#include "ketstats/schema/AgentStatistic.h"
#include "ketstats/text/StatDescription.h"
#include "ketstats/text/StatFormat.h"

#include <gtest/gtest.h>

#include <latch>
#include <string>
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

// Names, units and error texts of all of it.
std::string textsOf(CStatDescription const & description)
{
    std::string text = description.getStringDescription();
    if (auto const * const numeric = dynamic_cast<CNumericStatDescriptionBase const *>(&description))
        text += numeric->getUnits() + numeric->getFormat(0)->getName() +
                numeric->getFormat(0)->formatValue(CMACAddr(), nullptr);
    for (unsigned int i = 0; i < description.getSubStatsCount(); ++i)
        text += textsOf(*description.subStatDescription(i));
    return text;
}

// The descriptions are made for the first tree of a process, so this is worth something in a process of its own,
// and most under the thread sanitizer.
TEST(ConcurrentTrees, AreBuiltForTheFirstTimeOnSeveralThreads)
{
    constexpr int count = 8;
    std::latch start(count);
    std::vector<std::thread> threads;
    std::vector<std::string> texts(count);
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&start, &texts, i] {
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
            texts[static_cast<std::size_t>(i)] = textsOf(*tree.getDescription());
        });
    for (std::thread & thread : threads)
        thread.join();

    EXPECT_GT(texts.front().size(), 1000U);
    for (std::string const & text : texts)
        EXPECT_EQ(text, texts.front());
}

} // namespace
