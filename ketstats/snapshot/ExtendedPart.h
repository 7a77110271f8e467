#pragma once

#include "ketstats/extended/ExtendedStatistic.h"
#include "ketstats/snapshot/ZeroRows.h"

#include <bitset>

namespace KetStats {

// What a snapshot holds of the second tree, once it is asked for: its zero point, the sample, and what the client sees,
// like those of the first. Groups are known by their ids under the root. It belongs to its snapshot.
class CExtendedPart
{
public:
    using Groups = std::bitset<8>;

    explicit CExtendedPart(CTableLimits const & limits);

    // What it takes at most while nobody looks at rows; see CStatSnapshot::largestMemory.
    static std::size_t largestMemory(CTableLimits const & limits, Groups const & groups);

    void select(Groups const & groups, bool on) { m_enabled = on ? m_enabled | groups : m_enabled & ~groups; }

    // The zero point, of the selected groups alone or of all.
    void setZeroPoint(CExtendedStatistic const & live, bool selectedOnly);
    // Brings the sample up to date, and the ledgers of this tree.
    void sample(CExtendedStatistic const & live, bool tellRowsApart, CLedgers & ledgers);
    // Nothing is known any more of what was sampled last.
    void forgetSamples();

    // What the client sees, with its rows to be looked at.
    CExtendedStatistic & nodes();
    // Of a receiver: reads one tree from behind its id.
    void unpack(ktools::CMemoryBuffer & buffer);
    // Percentages of so many frames, and averages.
    void derive(double frames);

    CExtendedStatistic & visible() { return m_visible; }
    CExtendedStatistic & sampled() { return m_sample; }

private:
    bool selected(unsigned int group) const { return m_enabled[group]; }

    CExtendedStatistic m_visible; // its tables lie flat while m_flat is up
    CExtendedStatistic m_sample;  // its tables lie flat
    struct
    {
        CTableZero<CIPv6ConnectionStat> connections;
        CTableZero<COuterVlanStat> outerVlans;
        CTableZero<CInnerVlanStat> innerVlans;
    } m_zero;
    CSignalsStat m_signals;
    CTunnelsStat m_tunnels; // as they were at the zero point
    CSampledVersion m_sampledNeighbours;
    Groups m_enabled;
    bool m_flat = true;
};

} // namespace KetStats
