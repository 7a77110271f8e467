#include "host/agent/MemoryCeiling.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using namespace ketmon;

namespace {

constexpr std::size_t mebibyte = std::size_t{1} << 20;

struct Watched
{
    std::size_t resident = 90 * mebibyte;
    std::size_t consoles = 3;
    std::vector<std::string> reasons;
    CLog log{LogLevel::warning};
    CMemoryCeiling ceiling{100 * mebibyte, log, [this] { return resident; }};

    void look()
    {
        ceiling.look([this](std::string const & why) {
            if (consoles == 0)
                return false;
            --consoles;
            reasons.push_back(why);
            return true;
        });
    }
};

TEST(MemoryCeiling, LetsGoOfOneConsoleAtALook)
{
    Watched watched;
    watched.look();
    EXPECT_EQ(watched.consoles, 3U);

    watched.resident = 101 * mebibyte;
    watched.look();
    EXPECT_EQ(watched.consoles, 2U);
    watched.look();
    EXPECT_EQ(watched.consoles, 1U);
    watched.resident = 100 * mebibyte;
    watched.look();

    EXPECT_EQ(watched.consoles, 1U);
    EXPECT_EQ(watched.reasons,
              std::vector<std::string>(2, "the agent has reached the 100 MiB of memory that it may have"));
}

TEST(MemoryCeiling, SaysSoOnceWhereTheAgentAloneIsAbove)
{
    Watched watched;
    watched.consoles = 0;
    watched.resident = 130 * mebibyte;
    testing::internal::CaptureStderr();

    for (int i = 0; i < 1000; ++i)
        watched.look();

    std::string const text = testing::internal::GetCapturedStderr();
    std::string const warning = "without consoles the agent has 130 MiB of memory, and may have 100";
    EXPECT_THAT(text, testing::HasSubstr(warning));
    EXPECT_EQ(text.find(warning), text.rfind(warning));
    EXPECT_NE(watched.ceiling.shortage(), "");
}

} // namespace
