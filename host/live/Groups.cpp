#include "host/live/Groups.h"

#include "host/support/Failure.h"
#include "host/support/Oid.h"

#include <fmt/core.h>

namespace ketmon {

using KetStats::CKetrinStatManager;

void addEnableOption(CLI::App & command, std::vector<std::string> & names)
{
    command
        .add_option("--enable", names,
                    "Group to count, 1.1 to 1.9, or 'none'; may be given again. All groups unless given")
        ->allow_extra_args(false)
        ->type_name("OID");
}

void enableGroups(CKetrinStatManager & manager, std::vector<std::string> const & names)
{
    if (names.empty()) {
        for (int group = 1; group <= 9; ++group)
            manager.enableStatistic(fmt::format("1.{}", group));
        return;
    }
    for (std::string const & name : names) {
        if (name == "none")
            continue;
        auto const oid = parsedOid(name);
        if (!oid)
            throw CFailure(exitBadInput, fmt::format("--enable: '{}' is no identifier such as 1.4", name));
        if (!manager.enableStatistic(*oid))
            throw CFailure(exitBadInput,
                           fmt::format("--enable: {} can't be enabled; the groups are 1.1 to 1.9", name));
    }
}

CGroupSet countedGroups(CKetrinStatManager const & manager)
{
    CGroupSet groups;
    for (unsigned int group = 1; group <= 9; ++group)
        groups[group] = manager.statisticEnabled(fmt::format("1.{}", group));
    groups[1] = groups[3] = groups[9] = true; // whatever the flags say
    groups[7] = groups[7] || groups[5];
    groups[10] = groups[11] = groups[8];
    return groups;
}

} // namespace ketmon
