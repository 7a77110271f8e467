#pragma once

#include "ketstats/ketstats.h"

#include <string>
#include <vector>

namespace ketmon {

// The value of a leaf that is no number, as text.
std::string textOf(KetStats::CBaseStat const & stat);

// The rows of a table in update order, oldest first.
std::vector<KetStats::CBaseStat const *> rowsOf(KetStats::CBaseStat const & table);

} // namespace ketmon
