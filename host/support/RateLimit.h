#pragma once

#include <algorithm>
#include <chrono>

namespace ketmon {

// How often something may happen: so many times at once, and so many times a second for as long as it takes.
class CRateLimit
{
public:
    using Clock = std::chrono::steady_clock;

    CRateLimit(double atOnce, double perSecond, Clock::time_point now = Clock::now())
        : m_most(atOnce),
          m_perSecond(perSecond),
          m_left(atOnce),
          m_last(now)
    {}

    // Whether it may happen now, in which case it is taken to happen.
    bool allows(Clock::time_point now)
    {
        double const passed = std::chrono::duration<double>(now - m_last).count();
        m_left = std::min(m_most, m_left + std::max(0.0, passed) * m_perSecond);
        m_last = now;
        if (m_left < 1.0)
            return false;
        m_left -= 1.0;
        return true;
    }

private:
    double m_most;
    double m_perSecond;
    double m_left;
    Clock::time_point m_last;
};

} // namespace ketmon
