#pragma once

#include "ketstats/schema/Columns.h"

namespace KetStats::schema {

// What the root of a tree of statistics is beside a group: where the limits of its tables stand, which it has before
// the tables are built. Throws CAgentStatistic::CException, code 2, source "TableLimits", for a limit below 2, which
// leaves no room for a row, or above the largest.
class KETSTATS_API CTreeRoot : public CUnfilteredContainerStat
{
public:
    CTableLimits const & limits() const { return m_limits; }

protected:
    CTreeRoot(unsigned short rootId, CStructStatDescription const & theDescription,
              CTableLimits const & theLimits);
    ~CTreeRoot() = default;

private:
    CTableLimits m_limits;
};

} // namespace KetStats::schema
