#pragma once

#include <chrono>

namespace ketmon {

// Moments that are due one after another at a fixed distance, however long what happens at each takes.
class CRecurrence
{
public:
    using Clock = std::chrono::steady_clock;

    explicit CRecurrence(std::chrono::milliseconds distance) : m_distance(distance) {}

    // The first one is due a distance behind `now`.
    void start(Clock::time_point now) { m_due = now + m_distance; }

    Clock::time_point due() const { return m_due; }

    // Goes on to the next one behind `now`, and gives how many between were missed.
    unsigned long long goOn(Clock::time_point now)
    {
        m_due += m_distance;
        if (m_due > now)
            return 0;
        auto const missed = (now - m_due) / m_distance + 1;
        m_due += missed * m_distance;
        return static_cast<unsigned long long>(missed);
    }

private:
    std::chrono::milliseconds m_distance;
    Clock::time_point m_due{};
};

} // namespace ketmon
