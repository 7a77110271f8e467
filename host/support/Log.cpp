#include "host/support/Log.h"

#include "host/support/Escaped.h"
#include "host/support/Output.h"
#include "host/support/TimeText.h"

#include <fmt/core.h>

#include <algorithm>
#include <chrono>

namespace ketmon {

namespace {

// A line of a log that is longer says nothing more; a pipe takes so much in one piece.
constexpr std::size_t longestLine = 2000;
constexpr std::chrono::minutes betweenCounts(1);

char const * nameOf(LogLevel level)
{
    switch (level) {
    case LogLevel::error:
        return "error: ";
    case LogLevel::warning:
        return "warning: ";
    case LogLevel::info:
        break;
    case LogLevel::debug:
        return "debug: ";
    }
    return "";
}

} // namespace

bool CLog::written(LogLevel level, std::string_view line)
{
    std::string text = escapedStart(line, longestLine);
    static bool const journal = errorsGoToTheSystemsLog();
    text = journal ? fmt::format("<{}>ketmon: {}\n", static_cast<int>(level), text)
                   : fmt::format("{} ketmon: {}{}\n", timeText(std::chrono::system_clock::now()),
                                 nameOf(level), text);
    return writeErrors(text, std::chrono::milliseconds(0));
}

CLog::~CLog()
{
    try {
        std::scoped_lock const lock(m_mutex);
        tellLeftOut(m_now());
        for (CCounted & counted : m_counted)
            if (counted.count != 0)
                tellCounted(counted);
    } catch (...) {
        // There is nobody left to be told.
    }
}

// The program's own errors have a room of their own, which nothing else fills.
CRateLimit & CLog::limitOf(LogLevel level, Cause cause)
{
    if (cause == peer)
        return m_peers;
    return level == LogLevel::error ? m_errors : m_own;
}

void CLog::say(LogLevel level, Cause cause, std::string_view line) noexcept
{
    if (level > m_least)
        return;
    try {
        std::scoped_lock const lock(m_mutex);
        sayLocked(level, cause, line);
    } catch (...) {
        leaveOut();
    }
}

void CLog::sayLocked(LogLevel level, Cause cause, std::string_view line)
{
    auto const now = m_now();
    tellLeftOut(now);
    if (!limitOf(level, cause).allows(now) || !written(level, line))
        leaveOut();
}

void CLog::warnOfCount(char const * what, unsigned long long count) noexcept
{
    if (LogLevel::warning > m_least)
        return;
    try {
        std::scoped_lock const lock(m_mutex);
        auto counted = std::find_if(m_counted.begin(), m_counted.end(), [what](CCounted const & known) {
            return std::string_view(known.what) == what;
        });
        if (counted == m_counted.end())
            counted = m_counted.insert(counted, CCounted{what});
        counted->count += count;
        if (!counted->told || m_now() - *counted->told >= betweenCounts)
            tellCounted(*counted);
    } catch (...) {
        leaveOut();
    }
}

void CLog::tellCounted(CCounted & counted)
{
    counted.told = m_now();
    sayLocked(LogLevel::warning, own, fmt::format("{}: {}", counted.what, counted.count));
    counted.count = 0;
}

void CLog::settle() noexcept
{
    try {
        std::scoped_lock const lock(m_mutex);
        auto const now = m_now();
        tellLeftOut(now);
        for (CCounted & counted : m_counted)
            if (counted.count != 0 && now - *counted.told >= betweenCounts)
                tellCounted(counted);
    } catch (...) {
        // It is told another time.
    }
}

void CLog::tellLeftOut(Clock::time_point now)
{
    unsigned long long const count = leftOut();
    if (count == m_toldLeftOut || !m_notes.allows(now))
        return;
    if (written(LogLevel::warning, fmt::format("{} lines were left out here", count - m_toldLeftOut)))
        m_toldLeftOut = count;
}

} // namespace ketmon
