#pragma once

#include <cstdint>

namespace ketmon {

// A counter of 64 bits out of one that starts again at 0 behind 32: a busy interface takes less than a day for that.
// It must be looked at before it has gone all the way round.
class CWideCounter
{
public:
    // What was counted altogether, where the narrow one shows `now`.
    std::uint64_t seen(std::uint32_t now)
    {
        m_sum += static_cast<std::uint32_t>(now - m_last);
        m_last = now;
        return m_sum;
    }

private:
    std::uint32_t m_last = 0;
    std::uint64_t m_sum = 0;
};

} // namespace ketmon
