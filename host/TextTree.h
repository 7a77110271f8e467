#pragma once

#include "ketstats/ketstats.h"

#include <string>

namespace ketmon {

// A statistic and all below it for people to read: a heading for each group, aligned tables with units below.
// Of a table only the `top` busiest rows are shown, the busiest first; 0 shows all.
std::string toText(KetStats::CBaseStat const & stat, unsigned int top);

} // namespace ketmon
