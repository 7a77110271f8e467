#pragma once

#include "tests/support/Traffic.h"

namespace test {

// Frames for the second tree, the same on every system for the same seed: IPv6 with chains of extension headers, whole
// and cut, fragments, messages of neighbours and nonsense in their place, tags of all depths, tunnels, and what IPv4 and
// ARP have for it. Their addresses are of few or many hosts.
Traffic randomIPv6Traffic(std::uint64_t seed, std::size_t count, unsigned int hosts);

} // namespace test
