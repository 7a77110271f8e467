#include "host/JsonTree.h"

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
    return description.getString(&stat);
}

ordered_json groupToJson(CBaseStat const & stat, CStatDescription const & description)
{
    ordered_json object = ordered_json::object();
    for (unsigned int index = 0; index < stat.getChildrenCount(); ++index)
        object[description.subStatDescription(index)->getStringDescription()] = toJson(*stat.getChild(index));
    return object;
}

} // namespace

ordered_json toJson(CBaseStat const & stat)
{
    CStatDescription const & description = *stat.getDescription();
    return description.getStatType() == CStatDescription::stValue ? leafToJson(stat, description)
                                                                  : groupToJson(stat, description);
}

} // namespace ketmon
