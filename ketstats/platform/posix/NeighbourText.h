#pragma once

#include "ketstats/platform/NeighbourTable.h"

#include <istream>

namespace KetStats::platform {

// Reads the kernel's text form of the table, a heading and a line each:
//
//     IP address       HW type     Flags       HW address            Mask     Device
//     192.0.2.1        0x1         0x2         00:11:22:33:44:55     *        eth0
//
// An entry without the flag 0x2 isn't complete and counts as invalid. Of a hardware address the first six bytes
// are taken; a shorter one has zeros behind it. Lines that can't be read are passed over. False if the table
// would be too large.
KETSTATS_API bool parseNeighbours(std::istream & text, std::vector<CNeighbour> & rows);

} // namespace KetStats::platform
