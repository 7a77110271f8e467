#pragma once

#include "host/support/RateLimit.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

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
// 2. Lines are limited in their rate, those that others cause apart from the program's own, and of these the errors
//    apart from the rest, so that nobody fills a disk, or drowns what the program has to say. What was left out is
//    counted, and told when there is room.
// 3. What may come up again and again for years is told once a minute at most, with how often it did.
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

    using Clock = CRateLimit::Clock;

    // `now` is asked for the time that passes.
    explicit CLog(
        LogLevel least = LogLevel::info, std::function<Clock::time_point()> now = [] { return Clock::now(); })
        : m_least(least),
          m_now(std::move(now))
    {}
    ~CLog();
    CLog(CLog const &) = delete;
    CLog & operator=(CLog const &) = delete;

    void say(LogLevel level, Cause cause, std::string_view line) noexcept;
    void error(std::string_view line) noexcept { say(LogLevel::error, own, line); }
    void warn(std::string_view line) noexcept { say(LogLevel::warning, own, line); }
    void inform(std::string_view line) noexcept { say(LogLevel::info, own, line); }

    // Warns of what has come up so often more. `what`, which lives as long as the program, says what that is; there
    // are few of them.
    void warnOfCount(char const * what, unsigned long long count) noexcept;

    // Tells what was left out since that was told last, and of what else was counted, as far as there is room for it.
    // Called now and then.
    void settle() noexcept;

    // Lines that were left out so far.
    unsigned long long leftOut() const { return m_leftOut.load(std::memory_order_relaxed); }

private:
    struct CCounted
    {
        char const * what;
        unsigned long long count = 0;               // not told so far
        std::optional<Clock::time_point> told = {}; // last
    };

    CRateLimit & limitOf(LogLevel level, Cause cause);
    void sayLocked(LogLevel level, Cause cause, std::string_view line);
    bool written(LogLevel level, std::string_view line);
    void tellLeftOut(Clock::time_point now);
    void tellCounted(CCounted & counted);
    void leaveOut() noexcept { m_leftOut.fetch_add(1, std::memory_order_relaxed); }

    LogLevel const m_least;
    std::function<Clock::time_point()> m_now;
    std::mutex m_mutex;
    // What comes at once, and how many lines a second for as long as it takes.
    CRateLimit m_errors{100, 1.0, m_now()};
    CRateLimit m_own{100, 1.0, m_now()};
    CRateLimit m_peers{100, 1.0, m_now()};
    CRateLimit m_notes{1, 0.1, m_now()};
    std::atomic<unsigned long long> m_leftOut{0};
    unsigned long long m_toldLeftOut = 0;
    std::vector<CCounted> m_counted;
};

} // namespace ketmon
