#include "host/capture/FrameFeed.h"

#include "host/capture/CaptureTime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

namespace {

using Seconds = std::chrono::duration<double>;

// Frames without bytes, at these seconds.
class Frames : public ketmon::CCaptureSource
{
public:
    explicit Frames(std::vector<double> const & seconds) : m_seconds(seconds) {}

    bool next(ketmon::CCapturedFrame & frame) override
    {
        if (m_next == m_seconds.size())
            return false;
        static unsigned char const nothing = 0;
        frame = {&nothing, 0, 60, static_cast<long long>(m_seconds[m_next++] * ketmon::ticksPerSecond)};
        return true;
    }

private:
    std::vector<double> m_seconds;
    std::size_t m_next = 0;
};

double secondsOf(std::vector<double> const & frames, ketmon::CFeedOptions const & options)
{
    KetStats::CKetrinStatManager manager;
    Frames source(frames);
    ketmon::CCaptureSummary summary;
    auto const start = std::chrono::steady_clock::now();
    ketmon::feedFrames(manager, source, options, {}, summary);
    EXPECT_EQ(summary.frames, frames.size());
    return Seconds(std::chrono::steady_clock::now() - start).count();
}

TEST(FrameFeed, KeepsThePaceOfTheCapture)
{
    double const seconds = secondsOf({1, 1.1, 1.3}, {.pace = 2.0});

    EXPECT_GE(seconds, 0.15);
    EXPECT_LT(seconds, 5.0);
    EXPECT_LT(secondsOf({1, 1000000}, {.pace = 0.0}), 5.0);
}

// The frames behind a gap keep their distance to each other: what was left out of it isn't waited for later.
TEST(FrameFeed, WaitsForAGapNoLongerThanItIsTold)
{
    double const seconds = secondsOf({0, 3600, 3600.1, 7200, 7200.1, 1e9}, {.pace = 1.0, .longestGap = 0.1});

    EXPECT_GE(seconds, 0.5);
    EXPECT_LT(seconds, 10.0);
}

} // namespace
