#pragma once

#include "ketstats/platform/Exports.h"

#include <string>

namespace KetStats {

// What a number is divided by before it is shown, and the symbol that then stands behind it: 1536 reads
// "1.50 K". A multiplier outlives every format that it is set on.
struct KETSTATS_API Multiplier
{
    Multiplier(long long theValue, char const * theName, char const * theAbbrev)
        : value(theValue),
          name(theName),
          abbrev(theAbbrev)
    {}

    long long value; // 0 isn't guarded against: the quotient is infinite then
    std::string name;
    std::string abbrev;
};

// The multipliers of this library, powers of 1024 (CS) and of 1000. Only the kilo pair differs in its symbol,
// "K" and "k".
extern KETSTATS_API Multiplier const mKiloCS;
extern KETSTATS_API Multiplier const mKilo;
extern KETSTATS_API Multiplier const mMegaCS;
extern KETSTATS_API Multiplier const mMega;
extern KETSTATS_API Multiplier const mGigaCS;
extern KETSTATS_API Multiplier const mGiga;
extern KETSTATS_API Multiplier const mTeraCS;
extern KETSTATS_API Multiplier const mTera;
extern KETSTATS_API Multiplier const mPetaCS;
extern KETSTATS_API Multiplier const mPeta;
extern KETSTATS_API Multiplier const mExaCS;
extern KETSTATS_API Multiplier const mExa;

constexpr unsigned int multiplierCount = 12;

// All of them in that order and a null behind: the powers of 1024 have even indexes, those of 1000 odd ones.
extern KETSTATS_API Multiplier const * const multipliers[multiplierCount + 1];

} // namespace KetStats
