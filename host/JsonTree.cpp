#include "host/JsonTree.h"

#include "host/Values.h"

namespace ketmon {

using KetStats::CBaseStat;
using KetStats::CStatDescription;
using nlohmann::ordered_json;

namespace {

ordered_json leafToJson(CBaseStat const & stat, CStatDescription const & description)
{
    if (description.isInteger())
        return description.getInteger(&stat);
    if (description.isNumeric())
        return description.getNumeric(&stat);
    return textOf(stat);
}

void addChildren(ordered_json & object, CBaseStat const & stat)
{
    for (unsigned int index = 0; index < stat.getChildrenCount(); ++index) {
        CBaseStat const & child = *stat.getChild(index);
        object[child.getDescription()->getStringDescription()] = toJson(child);
    }
}

ordered_json tableToJson(CBaseStat const & table)
{
    ordered_json array = ordered_json::array();
    for (CBaseStat const * const row : rowsOf(table)) {
        ordered_json object;
        object["id"] = row->getId();
        addChildren(object, *row);
        array.push_back(std::move(object));
    }
    return array;
}

} // namespace

ordered_json toJson(CBaseStat const & stat)
{
    CStatDescription const & description = *stat.getDescription();
    switch (description.getStatType()) {
    case CStatDescription::stValue:
        return leafToJson(stat, description);
    case CStatDescription::stDynamicArray:
        return tableToJson(stat);
    default:
        break;
    }
    ordered_json object = ordered_json::object();
    addChildren(object, stat);
    return object;
}

} // namespace ketmon
