#pragma once

#include "host/capture/CaptureTime.h"
#include "host/wire/SampleMessage.h"

namespace ketmon {

// How far the clock of the day is told to be ahead of that of the statistics, in ticks: since they are looked at one
// behind the other that is never quite the same, and stays as it is until the clock of the day was set.
class CAhead
{
public:
    explicit CAhead(long long ticks = 0) : m_ticks(ticks) {}

    void follow(long long ticks)
    {
        if (ticks - m_ticks > unnoticed || m_ticks - ticks > unnoticed)
            m_ticks = ticks;
    }

    long long ticks() const { return m_ticks; }

private:
    static constexpr long long unnoticed = ticksPerSecond / 10;

    long long m_ticks;
};

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
        m_ahead = CAhead(ahead);
        tell(head);
    }

    // The head of the sample behind.
    void goOn(CSampleHead & head, long long moment, long long ahead)
    {
        head.interval = moment - m_last;
        m_last = moment;
        m_ahead.follow(ahead);
        tell(head);
    }

    // The moment of the last sample, by the clock of the statistics.
    long long last() const { return m_last; }

private:
    void tell(CSampleHead & head) const
    {
        head.zero = m_zero + m_ahead.ticks();
        head.moment = m_last + m_ahead.ticks();
    }

    long long m_zero = 0;
    long long m_last = 0;
    CAhead m_ahead;
};

} // namespace ketmon
