#pragma once

#include "host/support/RateLimit.h"

#include <atomic>
#include <mutex>
#include <string_view>

namespace ketmon {

// How much a line matters, by the numbers that a system's log has for it.
enum class LogLevel : int
{
    error = 3,
    warning = 4,
    info = 6,
    debug = 7,
};

// What a program that runs for long has to say, on the standard error output, a line each:
//
//     2026-11-21T22:07:51.123Z ketmon: warning: 127.0.0.1:54444: dropped: ...
//
// or, where the system's log takes that output and has the time itself:
//
//     <4>ketmon: 127.0.0.1:54444: dropped: ...
//
// 1. Nothing here throws, fails or waits: a line that can't be written at once, to an output that is full, closed
//    or not read, is left out.
// 2. Lines are limited in their rate, those that others cause apart from the program's own, so that nobody fills a
//    disk, or drowns what the program has to say. What was left out is counted, and told when there is room.
//
// Any thread may call it.
class CLog
{
public:
    enum Cause
    {
        own,
        peer, // whoever connects
    };

    explicit CLog(LogLevel least = LogLevel::info) : m_least(least) {}
    ~CLog() { settle(); }
    CLog(CLog const &) = delete;
    CLog & operator=(CLog const &) = delete;

    void say(LogLevel level, Cause cause, std::string_view line) noexcept;
    void error(std::string_view line) noexcept { say(LogLevel::error, own, line); }
    void warn(std::string_view line) noexcept { say(LogLevel::warning, own, line); }
    void inform(std::string_view line) noexcept { say(LogLevel::info, own, line); }

    // Tells what was left out since that was told last, if there is room for it. Called now and then.
    void settle() noexcept;

    // Lines that were left out so far.
    unsigned long long leftOut() const { return m_leftOut.load(std::memory_order_relaxed); }

private:
    using Clock = CRateLimit::Clock;

    bool written(LogLevel level, std::string_view line);
    void tellLeftOut(Clock::time_point now);

    LogLevel const m_least;
    std::mutex m_mutex;
    // What comes at once, and how many lines a second for as long as it takes.
    CRateLimit m_own{100, 1.0};
    CRateLimit m_peers{100, 1.0};
    CRateLimit m_notes{1, 0.1};
    std::atomic<unsigned long long> m_leftOut{0};
    unsigned long long m_toldLeftOut = 0;
};

} // namespace ketmon
