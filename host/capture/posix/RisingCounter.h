#pragma once

#include <cstdint>
#include <optional>

namespace ketmon {

// A counter that only ever rises, out of one of the system's that can't be read now and then, and that a driver may
// start anew at 0.
class CRisingCounter
{
public:
    // Nothing where it can't be read now: what it had stays.
    void saw(std::optional<std::uint64_t> now)
    {
        if (!now)
            return;
        if (!m_last)
            m_value = *now;
        else
            m_value += *now >= *m_last ? *now - *m_last : *now;
        m_last = now;
    }

    // Nothing if it could never be read.
    std::optional<std::uint64_t> value() const { return m_last ? std::optional(m_value) : std::nullopt; }

private:
    std::optional<std::uint64_t> m_last; // as it was read
    std::uint64_t m_value = 0;
};

} // namespace ketmon
