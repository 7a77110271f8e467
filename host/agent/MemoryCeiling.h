#pragma once

#include "host/support/Log.h"
#include "host/support/Memory.h"
#include "host/support/RateLimit.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace ketmon {

// The memory that an agent may have. It is looked after now and then:
//
// 1. What consoles had is given back to the system when they leave.
// 2. Above the ceiling one console goes at each look, for what it had comes back only by and by. An agent that is above
//    it without consoles says so.
class CMemoryCeiling
{
public:
    // Nothing where that can't be told: then there is no ceiling.
    using Resident = std::function<std::optional<std::size_t>()>;

    // `log` must live longer.
    CMemoryCeiling(std::size_t most, CLog & log, Resident resident = residentMemory)
        : m_most(most),
          m_log(log),
          m_resident(std::move(resident))
    {}

    // Somebody has left.
    void mayReturn() { m_mayReturn = true; }
    // `letGo` turns a console away, with that reason, and yields false where there is none.
    void look(std::function<bool(std::string const & why)> const & letGo);

    // Why no more can be afforded; empty if it can.
    std::string shortage() const;

private:
    std::size_t megabytes() const { return m_most >> 20; }

    std::size_t m_most;
    CLog & m_log;
    Resident m_resident;
    bool m_mayReturn = false;
    CRateLimit m_warnings{1, 1.0 / 600};
};

} // namespace ketmon
