#include "host/wire/Selection.h"

#include "host/support/Oid.h"

#include <fmt/core.h>

#include <algorithm>

namespace ketmon {

using KetStats::COid;

namespace {

constexpr std::size_t longestName = 64;

bool isPrefix(COid const & shorter, COid const & longer)
{
    if (shorter.length() > longer.length())
        return false;
    for (unsigned int i = 0; i < shorter.length(); ++i)
        if (shorter[i] != longer[i])
            return false;
    return true;
}

// What is shown of a name that may hold anything.
std::string quoted(std::string const & name)
{
    std::string text = name.substr(0, longestName);
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '?');
    return "'" + text + "'";
}

// Whether an identifier names a place of its tree, of which only the shape is asked.
bool isPlace(COid const & oid, bool bothTrees)
{
    static KetStats::CAgentStatistic first;
    static KetStats::CExtendedStatistic second;
    bool const isFirst = oid[0] != KetStats::CExtendedStatistic::rootId;
    return (isFirst || bothTrees) &&
           (isFirst ? first.getStatMemberPointer(oid) : second.getStatMemberPointer(oid)).offset >= 0;
}

COid parsed(std::string const & name, bool bothTrees)
{
    std::optional<COid> const oid = parsedOid(name);
    if (!oid)
        throw CBadSelection(quoted(name) + " is no identifier such as 1.5");
    if (!isPlace(*oid, bothTrees))
        throw CBadSelection(quoted(name) + " leads to no statistic that can be selected");
    return *oid;
}

} // namespace

CSelection::CSelection(std::vector<std::string> const & names, bool bothTrees)
{
    std::vector<COid> all;
    all.reserve(names.size() + 1);
    for (std::string const & name : names)
        all.push_back(parsed(name, bothTrees));
    all.emplace_back(names.empty() ? "1" : "1.1");
    if (names.empty() && bothTrees)
        all.emplace_back("2");
    // What is above another one stands right before it and the likes of it.
    std::sort(all.begin(), all.end(), KetStats::COidLess());
    for (COid const & oid : all)
        if (m_oids.empty() || !isPrefix(m_oids.back(), oid))
            m_oids.push_back(oid);
}

void CSelection::select(KetStats::CStatSnapshot & snapshot) const
{
    for (COid const & oid : m_oids)
        snapshot.addOid(oid);
    // A group is only sampled once its own identifier was named. Naming it behind something below it leaves
    // the selection as narrow as it is.
    for (COid const & oid : m_oids)
        if (oid.length() > 2)
            snapshot.addOid(COid(fmt::format("{}.{}", oid[0], oid[1])));
}

bool CSelection::touches(COid const & oid) const
{
    return std::any_of(m_oids.begin(), m_oids.end(), [&](COid const & selected) {
        return isPrefix(selected, oid) || isPrefix(oid, selected);
    });
}

bool CSelection::covers(COid const & oid) const
{
    return std::any_of(m_oids.begin(), m_oids.end(),
                       [&](COid const & selected) { return isPrefix(selected, oid); });
}

} // namespace ketmon
