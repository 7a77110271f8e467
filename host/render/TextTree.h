#pragma once

#include "host/render/TreeRows.h"
#include "host/render/ValueText.h"

#include "ketstats/ketstats.h"

#include <string>

namespace ketmon {

// A statistic and all below it for people to read: a heading for each group, aligned tables with units below.
// Of a table the rows are shown that `rows` tells, by default the busiest first. Headings start with the
// identifier, and each row of a table with its id, so that "1.5" and "7" make "1.5.7". Values are as `values`
// writes them.
std::string toText(KetStats::CBaseStat const & stat, CTreeRows const & rows, CValueText const & values);

} // namespace ketmon
