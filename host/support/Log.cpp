#include "host/support/Log.h"

#include "host/support/Escaped.h"
#include "host/support/Output.h"
#include "host/support/TimeText.h"

#include <fmt/core.h>

#include <chrono>

namespace ketmon {

namespace {

// A line of a log that is longer says nothing more; a pipe takes so much in one piece.
constexpr std::size_t longestLine = 2000;

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
    std::string text = escaped(line);
    if (text.size() > longestLine)
        text = text.substr(0, longestLine) + "...";
    static bool const journal = errorsGoToTheSystemsLog();
    text = journal ? fmt::format("<{}>ketmon: {}\n", static_cast<int>(level), text)
                   : fmt::format("{} ketmon: {}{}\n", timeText(std::chrono::system_clock::now()),
                                 nameOf(level), text);
    return writeErrors(text, std::chrono::milliseconds(0));
}

void CLog::say(LogLevel level, Cause cause, std::string_view line) noexcept
{
    if (level > m_least)
        return;
    try {
        std::scoped_lock const lock(m_mutex);
        auto const now = Clock::now();
        tellLeftOut(now);
        CRateLimit & limit = cause == own ? m_own : m_peers;
        if (!limit.allows(now) || !written(level, line))
            m_leftOut.fetch_add(1, std::memory_order_relaxed);
    } catch (...) {
        m_leftOut.fetch_add(1, std::memory_order_relaxed);
    }
}

void CLog::settle() noexcept
{
    try {
        std::scoped_lock const lock(m_mutex);
        tellLeftOut(Clock::now());
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
