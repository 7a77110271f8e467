#pragma once

#include "host/render/ValueText.h"

#include "ketstats/ketstats.h"

#include <string>

namespace ketmon {

// A statistic and all below it for people to read: a heading for each group, aligned tables with units below.
// Of a table only the `top` busiest rows are shown, the busiest first; 0 shows all. Headings start with the
// identifier, and each row of a table with its id, so that "1.5" and "7" make "1.5.7". Values are as `values`
// writes them.
std::string toText(KetStats::CBaseStat const & stat, unsigned int top, CValueText const & values);

} // namespace ketmon
