#pragma once

#include "ketstats/ketstats.h"

#include <string>
#include <vector>

namespace ketmon {

// Which rows of a table of the tree are shown, and in which order.
struct CTreeRows
{
    std::string sort;     // a column as it is called in JSON; a table without it goes by "frames"
    unsigned int top = 0; // all for 0
    bool busiestFirst = false;

    // As they lie, oldest first, unless one of them is given.
    std::vector<KetStats::CBaseStat const *> of(KetStats::CBaseStat const & table) const;
};

} // namespace ketmon
