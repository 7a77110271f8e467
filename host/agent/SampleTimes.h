#pragma once

#include "host/capture/CaptureTime.h"
#include "host/wire/SampleMessage.h"

namespace ketmon {

// The times of a console's samples, whatever is done to the clock of the day between them.
//
// 1. Intervals are by the clock of the statistics, which nobody sets.
// 2. Moments are told by the clock of the day as it is then. Where that was set the zero point is told by its new
//    time too, so that what passed since stays right.
class CSampleTimes
{
public:
    // The zero point by the clock of the statistics, and how far the clock of the day is ahead of that; all in
    // ticks.
    void start(CSampleHead & head, long long zero, long long ahead)
    {
        m_zero = m_last = zero;
        m_ahead = ahead;
        tell(head);
    }

    // The head of the sample behind.
    void goOn(CSampleHead & head, long long moment, long long ahead)
    {
        head.interval = moment - m_last;
        m_last = moment;
        // The clocks are looked at one behind the other.
        if (ahead - m_ahead > unnoticed || m_ahead - ahead > unnoticed)
            m_ahead = ahead;
        tell(head);
    }

    // The moment of the last sample, by the clock of the statistics.
    long long last() const { return m_last; }

private:
    static constexpr long long unnoticed = ticksPerSecond / 10;

    void tell(CSampleHead & head) const
    {
        head.zero = m_zero + m_ahead;
        head.moment = m_last + m_ahead;
    }

    long long m_zero = 0;
    long long m_last = 0;
    long long m_ahead = 0;
};

} // namespace ketmon
