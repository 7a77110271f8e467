#pragma once

namespace ketmon {

// The statistics' clock while a capture is replayed: it shows what it was last set to, so that a replay is
// sampled on the capture's own time. There is one at a time; with it goes the time, back to the system's.
// Time may be set back. Any thread may ask the clock meanwhile.
class CCaptureClock
{
public:
    // In units of 100 ns since 1601-01-01 UTC.
    explicit CCaptureClock(long long ticks);
    ~CCaptureClock();

    CCaptureClock(CCaptureClock const &) = delete;
    CCaptureClock & operator=(CCaptureClock const &) = delete;

    void set(long long ticks);
    long long now() const;
};

} // namespace ketmon
