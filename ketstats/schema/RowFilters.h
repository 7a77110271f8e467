#pragma once

#include "ketstats/capture/FieldFilters.h"
#include "ketstats/capture/Filter.h"
#include "ketstats/capture/IPv6Filters.h"
#include "ketstats/capture/VlanFilter.h"
#include "ketstats/model/BaseStat.h"
#include "ketstats/platform/Exports.h"

namespace KetStats {

// A filter that selects the traffic of a statistic: that of every row on its way to the root, so that a port
// within a station gives that port at that station, the nearest row first. A column gets the filter of its
// row. Null for null, and for what selects no traffic: the root, groups, tables, and what stands in them
// without a row. The caller owns the filter.
//
// The node is read without a lock, so it belongs to a tree that nobody writes, such as a client's snapshot.
[[nodiscard]] KETSTATS_API CFilter * buildFilter(CBaseStat const * stat);

} // namespace KetStats
