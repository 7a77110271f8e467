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
                    "Group to count, 1.1 to 1.9 or 2.1 to 2.7, or 'none'; may be given again. All groups "
                    "unless given")
        ->allow_extra_args(false)
        ->type_name("OID");
}

namespace {

// Why an identifier can't be enabled: it follows the flag of a group, or is nothing of the tree.
std::string whyNot(KetStats::COid const & oid)
{
    bool const isExtended = oid[0] == KetStats::CExtendedStatistic::rootId;
    if (oid.length() < 2 || (oid[0] != 1 && !isExtended) || oid[1] < 1 || oid[1] > (isExtended ? 7 : 11))
        return "the groups are 1.1 to 1.9 and 2.1 to 2.7";
    if (isExtended)
        return fmt::format("it follows 2.{}", oid[1]);
    // IP sub-protocols and ports are counted together with IP traffic.
    return fmt::format("it follows 1.{}", oid[1] > 9 ? 8 : oid[1]);
}

} // namespace

void enableGroups(CKetrinStatManager & manager, std::vector<std::string> const & names)
{
    if (names.empty()) {
        for (int group = 1; group <= 9; ++group)
            manager.enableStatistic(fmt::format("1.{}", group));
        for (int group = 1; group <= 7; ++group)
            manager.enableStatistic(fmt::format("2.{}", group));
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
                           fmt::format("--enable: {} can't be enabled; {}", name, whyNot(*oid)));
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
    for (unsigned int group = 1; group <= 7; ++group)
        groups[firstExtendedGroup + group] = manager.statisticEnabled(fmt::format("2.{}", group));
    return groups;
}

} // namespace ketmon
