#pragma once

#include "host/render/Figures.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace ketmon {

// Gives one zero point to all figures of a screen. IP sub-protocols and ports, those of stations included,
// count since the agent began; what they had when the first sample was taken is subtracted here.
//
//     row         what it has counted, less what it had then
//     given up    what the ledger has, less what it had then, less what those rows had that were given up since
//
// So rows and ledger still add up to what was counted since. A row that is given up and comes again starts
// from nothing: it has another identifier then, or has counted less than before, and nothing is subtracted any
// more. One that has the same identifier and counts more is taken for the old one; what it shows too little,
// the ledger shows too much.
class CZeroPoint
{
public:
    // The first figures that it is given set it.
    void apply(CFigures & figures);

private:
    struct CCounts
    {
        std::uint64_t framesSent = 0;
        std::uint64_t bytesSent = 0;
        std::uint64_t framesReceived = 0;
        std::uint64_t bytesReceived = 0;
    };

    struct CBase
    {
        std::string oid;
        CCounts counts; // at the zero point
        CCounts last;   // as they came last
        bool seen = true;
    };

    // What a table had.
    struct CTableBase
    {
        std::unordered_map<std::string, CBase> rows;
        CCounts gone; // what those had that were given up since
        CGivenUp givenUp;
    };

    struct CRows;

    void apply(CTableBase & base, std::vector<CRows> const & parts, std::optional<CGivenUp> & givenUp) const;
    void apply(CTableBase & base, std::string const & key, CRowFigures & row) const;
    static CCounts countsOf(CRowFigures const & row);
    static bool wentBack(CCounts const & now, CCounts const & before);
    static void add(CCounts & sum, CCounts const & counts);

    bool m_set = false;
    std::unordered_map<std::string, CTableBase> m_tables; // by key
};

} // namespace ketmon
