#pragma once

#include "ketstats/platform/Exports.h"

#include <array>
#include <vector>

namespace KetStats::platform {

// A binding of the system's ARP cache.
struct CNeighbour
{
    static constexpr unsigned int invalid = 2; // the type of an entry that doesn't hold

    unsigned int address = 0; // IPv4, in network byte order
    std::array<unsigned char, 6> hardwareAddress{};
    unsigned int type = 0;
};

// The table takes 4 bytes and 24 for each row, and one that needs more than this isn't told.
constexpr unsigned int neighbourTableBytes = 10000;
constexpr unsigned int neighbourRowBytes = 24;

// Reads the system's ARP cache, of all interfaces. False, with `rows` in no particular state, if it can't be
// had or is too large.
KETSTATS_API bool readNeighbours(std::vector<CNeighbour> & rows);

} // namespace KetStats::platform
