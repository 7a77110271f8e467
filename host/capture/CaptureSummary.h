#pragma once

#include "host/capture/CaptureSource.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace ketmon {

// What was counted, whatever it was counted as: the frames of a source, added up one by one.
struct CCaptureSummary
{
    std::uint64_t frames = 0;
    std::uint64_t bytes = 0;         // on the wire
    std::uint64_t capturedBytes = 0; // of them, those that the source has
    // The earliest and the latest moment, in units of 100 ns since 1601-01-01 UTC. They need not be those of
    // the first and the last frame.
    std::optional<long long> first, last;
    CSourceFaults faults;

    void add(CCapturedFrame const & frame)
    {
        ++frames;
        bytes += frame.length;
        capturedBytes += frame.capturedLength;
        first = std::min(first.value_or(frame.ticks), frame.ticks);
        last = std::max(last.value_or(frame.ticks), frame.ticks);
    }
};

} // namespace ketmon
