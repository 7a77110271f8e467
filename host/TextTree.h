#pragma once

#include "ketstats/ketstats.h"

#include <string>

namespace ketmon {

// A statistic and all below it for people to read: a heading for each group, aligned tables with units below.
std::string toText(KetStats::CBaseStat const & stat);

} // namespace ketmon
