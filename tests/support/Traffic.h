#pragma once

#include "tests/support/Bytes.h"

#include <cstdint>
#include <vector>

namespace test {

// Frames as a capture has them.
struct Captured
{
    Bytes data;
    unsigned int length; // on the wire
};
using Traffic = std::vector<Captured>;

// The frames of a bundled capture: a classic one of this machine's byte order. Throws std::runtime_error.
Traffic bundledTraffic(char const * file);

// Frames that are the same on every system for the same seed: of every layout and protocol that the analysis knows,
// to and from few or many stations, cut now and then, with fields that make no sense.
Traffic randomTraffic(std::uint64_t seed, std::size_t count, unsigned int stations);

} // namespace test
