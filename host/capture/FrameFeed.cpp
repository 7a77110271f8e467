#include "host/capture/FrameFeed.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace ketmon {

namespace {

using Clock = std::chrono::steady_clock;

// Waits for the moment at which a frame is due.
class CPacer
{
public:
    CPacer(double pace, std::stop_token const & stop) : m_pace(pace), m_stop(stop) {}

    void waitFor(long long ticks)
    {
        if (m_pace <= 0.0)
            return;
        if (!m_started) {
            m_started = true;
            m_first = ticks;
            m_start = Clock::now();
        }
        std::chrono::duration<double> const seconds(static_cast<double>(ticks - m_first) / 1e7 / m_pace);
        // Nobody waits that long; more doesn't fit the clock.
        constexpr std::chrono::duration<double> longest(1e9);
        auto const due =
            m_start + std::chrono::duration_cast<Clock::duration>(std::clamp(seconds, -longest, longest));
        if (due <= Clock::now())
            return;
        std::unique_lock lock(m_mutex);
        m_wake.wait_until(lock, m_stop, due, [] { return false; });
    }

private:
    double m_pace;
    std::stop_token m_stop;
    bool m_started = false;
    long long m_first = 0;
    Clock::time_point m_start{};
    std::mutex m_mutex;
    std::condition_variable_any m_wake;
};

} // namespace

void feedFrames(KetStats::CKetrinStatManager & manager, CCaptureSource & source, CFeedOptions const & options,
                std::stop_token const & stop, unsigned long long & frames)
{
    CPacer pacer(options.pace, stop);
    CCapturedFrame captured{};
    CNetworkFrame frame;
    while ((options.most == 0 || frames < options.most) && !stop.stop_requested() && source.next(captured)) {
        pacer.waitFor(captured.ticks);
        if (stop.stop_requested())
            break;
        frame.Assign(captured.data, captured.capturedLength, captured.length);
        manager.analyzeFrame(&frame);
        ++frames;
    }
}

} // namespace ketmon
