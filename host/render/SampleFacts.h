#pragma once

#include "host/render/Figures.h"

#include "ketstats/extended/ExtendedStatistic.h"
#include "ketstats/schema/Ledgers.h"

#include <bitset>
#include <optional>

namespace ketmon {

// Children of the roots: [5] is "1.5", and of the second tree [18] is "2.2".
using CGroupSet = std::bitset<24>;
inline constexpr std::size_t firstExtendedGroup = 16;
// Counters of "Global errors" by their id: [4] is "1.2.4".
using CErrorSet = std::bitset<14>;

// What is known of a sample beside its tree. Whatever isn't told here is taken for not known, and not for
// zero.
struct CSampleFacts
{
    CSourceFigures source;
    CMoment zero, time;
    CMoment epoch; // when the counting began that has no zero point of its own; the zero point unless given
    std::optional<double> intervalSeconds; // since the sample before
    CCount sample;                         // what the tree says unless given

    CCount received, droppedByKernel, droppedByInterface;
    COddFigures odd;

    CGroupSet counted;                         // groups that are on, and selected where there is a selection
    CErrorSet told;                            // error counters that the adapter has figures for
    bool filterGiven = false;                  // whether frames were tested against a filter
    std::optional<KetStats::CLedgers> givenUp; // what no row shows
    KetStats::CExtendedStatistic const * extended = nullptr; // the second tree, where there is one
};

// What a tree tells that a snapshot was unpacked into, or a live one that is held still. `before` are the
// figures of the sample before, from which rates are worked out.
CFigures figuresOf(KetStats::CAgentStatistic const & tree, CSampleFacts const & facts,
                   CFigures const * before = nullptr);

// The groups that a tree shows anything of, for want of a better source: one that counted nothing can't be
// told from one that is off.
CGroupSet groupsThatCounted(KetStats::CAgentStatistic const & tree,
                            KetStats::CExtendedStatistic const * extended = nullptr);

// A row of any table, alone.
CRowFigures rowFigures(KetStats::CBaseStat const & row);

} // namespace ketmon
