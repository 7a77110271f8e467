#include "ketstats/schema/AgentStatistic.h"

#include <cstdint>

namespace KetStats {

namespace {

constexpr unsigned short rootId = 1;

} // namespace

CAgentStatistic::CAgentStatistic() : CUnfilteredContainerStat(nullptr, rootId, groupDescription()) {}

CAgentStatistic::~CAgentStatistic() = default;

CStructStatDescription const & CAgentStatistic::groupDescription()
{
    static CStructStatDescription const description(1145, columnDescriptions(), rootId);
    return description;
}

CAgentStatistic::CStatPointer CAgentStatistic::getStatMemberPointer(COid const & oid)
{
    if (oid.length() == 0 || oid[0] != rootId)
        return {};
    CBaseStat const * const node = getStatPointer(oid, 1);
    auto const root = reinterpret_cast<std::uintptr_t>(this);
    auto const distance = reinterpret_cast<std::uintptr_t>(node) - root;
    if (!node || distance >= sizeof *this)
        return {};
    return {static_cast<int>(distance)};
}

CBaseStat & CAgentStatistic::operator[](CStatPointer const & position)
{
    if (position.offset < 0)
        ktools::raise<CException>(1, "AgentStatistic", 559);
    return *reinterpret_cast<CBaseStat *>(reinterpret_cast<char *>(this) + position.offset);
}

CBaseStat const & CAgentStatistic::operator[](CStatPointer const & position) const
{
    return const_cast<CAgentStatistic &>(*this)[position];
}

} // namespace KetStats
