#pragma once

#include "ketstats/platform/NeighbourTable.h"

namespace KetStats::platform {

// Has `tableOf` write the system's table to a buffer of neighbourTableBytes, unsorted, and takes its rows in
// the order given. False if it doesn't answer 0, as for a table that doesn't fit.
using NeighbourTableOf = unsigned long (*)(void * table, unsigned long * size, int sorted);
KETSTATS_API bool readNeighbourRows(NeighbourTableOf tableOf, std::vector<CNeighbour> & rows);

} // namespace KetStats::platform
