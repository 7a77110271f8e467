#pragma once

#include "host/support/RateLimit.h"

#include <cstddef>
#include <map>
#include <string>

namespace ketmon {

// How fast consoles may come from each origin. The first sample of one is work, and whoever comes and goes all the
// time must not take the time of all the others.
class CArrivals
{
public:
    using Clock = CRateLimit::Clock;

    // So many from an origin at once.
    explicit CArrivals(std::size_t atOnce) : m_atOnce(static_cast<double>(atOnce)) {}

    // Whether another one may come from there now, in which case it is taken to come.
    bool allows(std::string const & origin, Clock::time_point now)
    {
        // Who is forgotten starts anew, which is worth less than memory for all that ever came.
        if (m_limits.size() >= mostOrigins && !m_limits.contains(origin))
            m_limits.clear();
        return m_limits.try_emplace(origin, m_atOnce, perSecond).first->second.allows(now);
    }

private:
    static constexpr std::size_t mostOrigins = 256;
    static constexpr double perSecond = 5;

    double m_atOnce;
    std::map<std::string, CRateLimit> m_limits;
};

} // namespace ketmon
