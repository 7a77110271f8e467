#pragma once

#include "ketstats/schema/AgentStatistic.h"

#include <cstdint>

namespace KetStats::schema {

// How far behind the start of its root the node stands that an identifier names; negative for none, and for a row.
template <class Root>
CAgentStatistic::CStatPointer positionIn(Root & root, unsigned short rootId, COid const & oid)
{
    if (oid.length() == 0 || oid[0] != rootId)
        return {};
    CBaseStat const * const node = root.getStatPointer(oid, 1);
    auto const distance = reinterpret_cast<std::uintptr_t>(node) - reinterpret_cast<std::uintptr_t>(&root);
    if (!node || distance >= sizeof root)
        return {};
    return {static_cast<int>(distance)};
}

template <class Root>
CBaseStat & nodeAt(Root & root, CAgentStatistic::CStatPointer const & position)
{
    if (position.offset < 0)
        ktools::raise<CAgentStatistic::CException>(1, "AgentStatistic", 559);
    return *reinterpret_cast<CBaseStat *>(reinterpret_cast<char *>(&root) + position.offset);
}

} // namespace KetStats::schema
