#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

namespace ketmon {

// How long a console waits until it tries again to reach an agent that it has lost: a second, and then twice as long
// each time up to 30. It begins anew behind a connection that was good: one of three samples or of a minute. One that
// fails each time it has sent a sample is waited for as one that isn't there.
class CRetryWaits
{
public:
    using Clock = std::chrono::steady_clock;
    using milliseconds = std::chrono::milliseconds;

    void connected(Clock::time_point now)
    {
        m_since = now;
        m_samples = 0;
    }

    void sampled() { ++m_samples; }

    // The wait that is due, behind a connection that was lost or a try that failed.
    milliseconds next(Clock::time_point now)
    {
        if (m_since && (m_samples >= samplesOfAGoodOne || now - *m_since >= timeOfAGoodOne))
            m_next = first;
        m_since.reset();
        milliseconds const wait = m_next;
        m_next = std::min(2 * m_next, longest);
        return wait;
    }

private:
    static constexpr milliseconds first{1000};
    static constexpr milliseconds longest{30000};
    static constexpr unsigned int samplesOfAGoodOne = 3;
    static constexpr std::chrono::minutes timeOfAGoodOne{1};

    milliseconds m_next = first;
    std::optional<Clock::time_point> m_since; // of the connection, if there was one since the last wait
    unsigned long long m_samples = 0;
};

} // namespace ketmon
