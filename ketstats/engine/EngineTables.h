#pragma once

#include "ketstats/schema/GlobalStats.h"

#include <map>
#include <vector>

// Tables of the engine, for the library alone.
namespace KetStats {

// The counters of "Global errors" that the adapter tells, in the order in which it is asked.
using CHardwareCounter = CValueStat<unsigned int> CGlobalErrorsStat::*;
std::vector<CHardwareCounter> const & hardwareCounters();

// Ties the identifiers of the top-level groups, "1.1" to "1.9", to the enable flags 1 to 9. It stops there on
// purpose: the groups 10 and 11 follow the flag of "1.8".
extern std::map<COid, int, COidLess> const topLevelOids;

} // namespace KetStats
