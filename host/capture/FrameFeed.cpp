#include "host/capture/FrameFeed.h"

#include "host/capture/FrameBlock.h"
#include "host/capture/FrameCounter.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace ketmon {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// Waits for the moment at which a frame is due.
class CPacer
{
public:
    CPacer(CFeedOptions const & options, std::stop_token const & stop) : m_options(options), m_stop(stop) {}

    void waitFor(long long ticks)
    {
        if (m_options.pace <= 0.0)
            return;
        if (!m_started) {
            m_started = true;
            m_first = ticks;
            m_start = Clock::now();
        }
        Seconds const seconds(static_cast<double>(ticks - m_first) / 1e7 / m_options.pace);
        // Nobody waits that long; more doesn't fit the clock.
        constexpr Seconds longest(1e9);
        auto due =
            m_start + std::chrono::duration_cast<Clock::duration>(std::clamp(seconds, -longest, longest));
        auto const now = Clock::now();
        if (due <= now)
            return;
        // What is left out of a gap isn't waited for later either.
        auto const bound = now + std::chrono::duration_cast<Clock::duration>(Seconds(m_options.longestGap));
        if (due > bound) {
            m_start = bound;
            m_first = ticks;
            due = bound;
        }
        std::unique_lock lock(m_mutex);
        m_wake.wait_until(lock, m_stop, due, [] { return false; });
    }

private:
    CFeedOptions m_options;
    std::stop_token m_stop;
    bool m_started = false;
    long long m_first = 0;
    Clock::time_point m_start{};
    std::mutex m_mutex;
    std::condition_variable_any m_wake;
};

bool isEnough(CFeedOptions const & options, CCaptureSummary const & summary)
{
    return options.most != 0 && summary.frames >= options.most;
}

} // namespace

void feedFrames(KetStats::CKetrinStatManager & manager, CCaptureSource & source, CFeedOptions const & options,
                std::stop_token const & stop, CCaptureSummary & summary)
{
    CPacer pacer(options, stop);
    CFrameCounter counter(manager);
    CFrameBlock block;
    while (!isEnough(options, summary) && !stop.stop_requested()) {
        if (options.most != 0)
            block.setMost(static_cast<std::size_t>(
                std::min<unsigned long long>(options.most - summary.frames, CFrameBlock::capacity)));
        source.nextBlock(block);
        if (block.size() == 0)
            return;
        // Frames that are due at different times are counted one by one.
        std::size_t const atOnce = options.pace > 0.0 ? 1 : block.size();
        for (std::size_t first = 0; first < block.size() && !isEnough(options, summary); first += atOnce) {
            pacer.waitFor(block.ticks()[first]);
            if (stop.stop_requested())
                return;
            counter.count(block, first, atOnce);
            for (std::size_t i = first; i < first + atOnce; ++i)
                summary.add(block.frame(i));
        }
    }
}

} // namespace ketmon
