#pragma once

#include "ketstats/model/HashedContainerBase.h"

#include <cstdint>

namespace KetStats {

// Which version of a table was sampled last. Nothing is known of a table whose rows somebody holds, who may change
// them in place.
class CSampledVersion
{
public:
    bool isOf(CBaseHashedContainerStat const & table) const
    {
        return m_known && m_version == table.version() && !table.isLent();
    }
    bool isKnown() const { return m_known; }
    void set(CBaseHashedContainerStat const & table)
    {
        m_known = true;
        m_version = table.version();
    }
    void forget() { m_known = false; }

private:
    bool m_known = false;
    std::uint64_t m_version = 0;
};

} // namespace KetStats
