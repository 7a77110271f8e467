#pragma once

#include "host/render/TreeRows.h"
#include "host/render/ValueText.h"

#include "ketstats/ketstats.h"

#include <nlohmann/json.hpp>

namespace ketmon {

// A statistic and all below it as JSON, walked by its descriptions. A group is an object keyed by the display
// names of its children; a table is an array of its rows in update order, oldest first, each with its "id" in
// front of its columns. `rows` can tell another order and number of them, but not of tables within rows.
// Numbers are JSON numbers, or texts as `numbers` writes them if it is given, and null where they aren't
// finite; the rest is text.
nlohmann::ordered_json toJson(KetStats::CBaseStat const & stat, CValueText const * numbers = nullptr,
                              CTreeRows const & rows = {});

} // namespace ketmon
