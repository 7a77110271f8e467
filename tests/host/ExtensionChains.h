#pragma once

#include "tests/support/Bytes.h"
#include "tests/support/Filters.h"

#include <vector>

// Packets of IPv6 with extension headers, and filters that look behind these.
namespace test {

// Packets with chains of so many headers, each kind in each place, in lengths that alternate; as they are, as first
// fragments and as later ones.
std::vector<Bytes> chainsOf(unsigned int headers);

// Of each kind that looks at IPv6, and the opposite of each.
std::vector<Filter> filtersOfIPv6();

// How many extension headers are met, the last of which may be cut.
unsigned int extensionHeadersOf(CBoundedBytes packet);

} // namespace test
