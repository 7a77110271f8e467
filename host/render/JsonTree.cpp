#include "host/render/JsonTree.h"

#include <cmath>

namespace ketmon {

using KetStats::CBaseStat;
using KetStats::CStatDescription;
using nlohmann::ordered_json;

namespace {

ordered_json leafToJson(CBaseStat const & stat, CStatDescription const & description,
                        CValueText const * numbers)
{
    if (numbers && description.isNumeric() && std::isfinite(description.getNumeric(&stat)))
        return (*numbers)(stat);
    if (description.isInteger())
        return description.getInteger(&stat);
    if (description.isNumeric())
        return description.getNumeric(&stat);
    return textOf(stat);
}

void addChildren(ordered_json & object, CBaseStat const & stat, CValueText const * numbers,
                 CTreeRows const & rows)
{
    for (unsigned int index = 0; index < stat.getChildrenCount(); ++index) {
        CBaseStat const & child = *stat.getChild(index);
        object[child.getDescription()->getStringDescription()] = toJson(child, numbers, rows);
    }
}

ordered_json tableToJson(CBaseStat const & table, CValueText const * numbers, CTreeRows const & rows)
{
    ordered_json array = ordered_json::array();
    for (CBaseStat const * const row : rows.of(table)) {
        ordered_json object;
        object["id"] = row->getId();
        addChildren(object, *row, numbers, {});
        array.push_back(std::move(object));
    }
    return array;
}

} // namespace

ordered_json toJson(CBaseStat const & stat, CValueText const * numbers, CTreeRows const & rows)
{
    CStatDescription const & description = *stat.getDescription();
    switch (description.getStatType()) {
    case CStatDescription::stValue:
        return leafToJson(stat, description, numbers);
    case CStatDescription::stDynamicArray:
        return tableToJson(stat, numbers, rows);
    default:
        break;
    }
    ordered_json object = ordered_json::object();
    addChildren(object, stat, numbers, rows);
    return object;
}

} // namespace ketmon
