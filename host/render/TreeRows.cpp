#include "host/render/TreeRows.h"

#include "host/render/Columns.h"
#include "host/render/SampleFacts.h"
#include "host/render/TableChoice.h"
#include "host/render/ValueText.h"

#include <unordered_map>

namespace ketmon {

using KetStats::CBaseStat;

std::vector<CBaseStat const *> CTreeRows::of(CBaseStat const & table) const
{
    std::vector<CBaseStat const *> rows = rowsOf(table);
    if (sort.empty() && top == 0 && !busiestFirst)
        return rows;

    std::string const key = tableKey(table.getOid());
    std::unordered_map<std::string, CBaseStat const *> byOid;
    std::vector<CRowFigures> order;
    for (CBaseStat const * const row : rows) {
        order.push_back(rowFigures(*row));
        byOid.emplace(order.back().oid, row);
    }
    sortRows(order, key, hasColumn(key, sort) ? sort : "frames");
    if (top != 0 && order.size() > top)
        order.resize(top);
    rows.clear();
    for (CRowFigures const & row : order)
        rows.push_back(byOid.at(row.oid));
    return rows;
}

} // namespace ketmon
