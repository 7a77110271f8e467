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

std::uint32_t countedGroups(CKetrinStatManager const & manager)
{
    auto const enabled = [&](int group) { return manager.statisticEnabled(fmt::format("1.{}", group)); };
    std::uint32_t groups = 0;
    auto const add = [&](int group, bool counted) { groups |= counted ? 1U << group : 0U; };
    for (int const group : {1, 2, 9})
        add(group, true);
    for (int const group : {3, 4, 5, 6, 7, 8})
        add(group, enabled(group));
    add(7, enabled(5));
    add(10, enabled(8));
    add(11, enabled(8));
    return groups;
}

} // namespace ketmon
