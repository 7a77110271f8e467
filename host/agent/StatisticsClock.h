#pragma once

namespace ketmon {

// While it lives the statistics go by a clock that nobody sets: the time of the day at its start, and what passed
// since. By one that is set back a sample would leave out what was counted, and by one that is set forth its rates
// would be of no time that passed. There is one at a time.
class CStatisticsClock
{
public:
    CStatisticsClock();
    ~CStatisticsClock();

    CStatisticsClock(CStatisticsClock const &) = delete;
    CStatisticsClock & operator=(CStatisticsClock const &) = delete;
};

// How far the clock of the day is ahead of that of the statistics, in ticks.
long long dayAhead();

} // namespace ketmon
