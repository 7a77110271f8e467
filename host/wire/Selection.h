#pragma once

#include "ketstats/ketstats.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace ketmon {

class CBadSelection : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// Which statistics a console wants to see.
//
// 1. "1.1" is always among them: percentages relate to the frames counted there.
// 2. None is below another one.
// 3. In whatever order identifiers were named, a snapshot gets the same selection, and all groups that it
//    touches are sampled.
class CSelection
{
public:
    // `names` none selects all. Throws CBadSelection for what doesn't parse, leads nowhere, or names a row:
    // rows come and go, and their table is selected instead. With the first tree alone the second one leads nowhere.
    explicit CSelection(std::vector<std::string> const & names, bool bothTrees = true);

    void select(KetStats::CStatSnapshot & snapshot) const;

    // Ascending, each but below another.
    std::vector<KetStats::COid> const & oids() const { return m_oids; }

    // Whether something is selected at, above or below `oid`; whether `oid` is selected whole.
    bool touches(KetStats::COid const & oid) const;
    bool covers(KetStats::COid const & oid) const;

private:
    std::vector<KetStats::COid> m_oids;
};

} // namespace ketmon
