#pragma once

#include <cstdint>
#include <optional>

namespace ketmon {

// What a capture itself knows of its frames; absent where it isn't known.
struct CCaptureCounters
{
    std::optional<std::uint64_t> received; // frames that came in; the dropped ones aren't among them
    std::optional<std::uint64_t> droppedByKernel;
    std::optional<std::uint64_t> droppedByInterface;

    friend bool operator==(CCaptureCounters const &, CCaptureCounters const &) = default;
};

} // namespace ketmon
