#pragma once

#include "ketstats/ketstats.h"

namespace ketmon {

// The trees that the client of a snapshot sees.

inline KetStats::CAgentStatistic const & firstTree(KetStats::CStatSnapshot const & snapshot)
{
    return dynamic_cast<KetStats::CAgentStatistic const &>(*snapshot.getStat("1"));
}

inline KetStats::CExtendedStatistic const & secondTree(KetStats::CStatSnapshot const & snapshot)
{
    return dynamic_cast<KetStats::CExtendedStatistic const &>(*snapshot.getStat("2"));
}

} // namespace ketmon
