#pragma once

#include "ketstats/engine/StatManager.h"
#include "ketstats/snapshot/ExtendedPart.h"
#include "ketstats/snapshot/StatTreeNode.h"
#include "ketstats/snapshot/ZeroRows.h"

#include <array>
#include <bitset>
#include <memory>

class CFrame;

namespace KetStats {

// A client's private view of the statistics: what happened since its own zero point.
//
//     live tree  --initSnapshot-->  m_base                       the zero point
//     live tree  --nextSample--->   m_sample = live - m_base     what happened since
//     m_sample   --pack--------->   m_visible, and bytes         what the client reads and sends
//     bytes      --unpack------->   m_visible of another         what a console reads
//                                   calculatePercentStats()      derived there
//
// 1. A selection by identifiers says what pack writes; the group flags, which only identifiers of one and two
//    components set, say what nextSample calculates. A host enables the same groups in the manager.
// 2. A snapshot belongs to one thread at a time and has no lock; only its operations that take a manager enter
//    the manager's gate, as readers. Nothing ties a snapshot to one manager.
//    What is said here of the tree holds for the second one, whose root is "2", too.
// 3. It is usable for getStat, reset and unpack from construction on. nextSample needs initSnapshot first, and
//    pack without a selection does nothing.
//
// Memory: a sample holds the groups that are calculated, and the rows of its tables lie flat. So do those that the
// client sees, until it asks for them: with getStat, unpack, calculatePercentStats, resetChanged, checkChanged
// or getGivenUp they become nodes, for good, which takes some six times as much. Whoever only selects, samples
// and packs never needs them.
class KETSTATS_API CStatSnapshot
{
public:
    // The limits are those of the trees that are sampled and of the senders that are read.
    explicit CStatSnapshot(CTableLimits const & theLimits = {});
    ~CStatSnapshot();

    CStatSnapshot(CStatSnapshot const &) = delete;
    CStatSnapshot & operator=(CStatSnapshot const &) = delete;

    // Selects a statistic with everything below it. A narrower selection below one that stands is dropped; a
    // broader one above some that stand leaves the selection as it is, though it sets the flags. A receiver
    // that was sent to already is sent to anew then: what is selected now may not have changed since. Throws
    // CAgentStatistic::CException 2/204, source "StatSnapshot", for an identifier that leads nowhere, and for
    // a row: rows are selected through their table.
    void addOid(COid const & oid);
    // Takes a selection back. A node above that loses its last selected statistic is selected whole from then
    // on.
    void removeOid(COid const & oid);

    // The statistic that an identifier names in what the client sees; null if it leads nowhere. `changed`
    // receives the statistic's own flag.
    CBaseStat * getStat(COid const & oid);
    CBaseStat const * getStat(COid const & oid) const;
    CBaseStat * getStat(COid const & oid, bool & changed);

    CTableLimits const & limits() const { return m_visible.limits(); }

    // The bytes that a snapshot of such limits takes at most while it only selects, samples and packs: when all
    // tables of the groups are full, those of each station too. `groups` are those that are calculated, by their
    // ids under the root, where the zero point is that of the selected ones alone; see holdSelectedOnly. While a
    // sample is taken the largest of the tables can be there once more.
    static std::size_t largestMemory(CTableLimits const & limits, std::bitset<12> const & groups);
    // The same with groups of the second tree beside them.
    static std::size_t largestMemory(CTableLimits const & limits, std::bitset<12> const & groups,
                                     std::bitset<8> const & extendedGroups);

    // Sets the zero point. With the manager: polls the adapter, and takes the link speed. This and nextSample
    // throw CAgentStatistic::CException, code 2, source "TableLimits", for a tree of other limits, with
    // nothing changed.
    void initSnapshot(CKetrinStatManager & manager);
    void initSnapshot(CAgentStatistic const & live);
    void initSnapshot(CAgentStatistic const & live, CExtendedStatistic const & extended);

    // Takes a sample. The last two forms are for whoever holds the trees still; without the second one its groups stay
    // as they are.
    void nextSample(CKetrinStatManager & manager);
    // Sets the zero point and takes a sample with no frame in between.
    void startSampling(CKetrinStatManager & manager);
    void nextSample(CAgentStatistic const & live);
    void nextSample(CAgentStatistic const & live, CExtendedStatistic const & extended);

    // Brings what the client sees up to date with the last sample, for the selected statistics, and appends
    // it to `buffer`: all of it, or with `onlyChanged` what changed since the last pack, which is 2 bytes
    // when nothing did. A full pack updates the groups that aren't selected too.
    //
    // A full pack is for a receiver that is fresh or was reset, since it has no word for rows that are gone. A
    // pack of changes is for the receiver of every pack since the last full one, and for no other. To send
    // anew is to reset the receiver and to pack in full. That is called for at the start, after addOid, after
    // a reset of either end, after bytes that didn't arrive or couldn't be read, after a new initSnapshot, and
    // after an exception out of pack: changes that were written by then aren't written again. Throws
    // CAgentStatistic::CException 1/559 where the selection holds what a failed addOid left, and with
    // `onlyChanged` after the last identifier was removed; what was written before stays in the buffer.
    void pack(ktools::CMemoryBuffer & buffer, bool onlyChanged);

    // Reads one packed snapshot into what the client sees. Its last 2 bytes stay unread. Of traffic rows that
    // the sender dropped the counts go to a summary row. Throws CMemoryBuffer::CException: 2/555
    // "StatSnapshot" for bytes that are no snapshot, 2 "StatTypes" for ids that don't fit, 1 if the bytes end
    // early; what was read before stays, and only a full pack into the snapshot, reset, mends it.
    void unpack(ktools::CMemoryBuffer & buffer);

    // Derives every "Percentage" and "Average frame size" from the counters that the client sees.
    void calculatePercentStats();

    // Zeroes what the client sees; its rows are gone. Whoever it sends to, or is sent by, begins anew: see
    // pack.
    void reset();
    // Lowers, and asks, the flags of what the client sees.
    void resetChanged();
    void checkChanged() const;

    // Whether a row that was given up and came back under its old id and key is told from the row that stood
    // there at the zero point. Off at first: the base row is then taken off the new one, whose counters can
    // wrap, and of a station the ports of both are shown. Ids and the form of packs are the same either way.
    // Set before initSnapshot.
    void tellRowsApart(bool on);

    // Whether the zero point is taken of the selected groups alone, as a client does best that doesn't change its
    // selection. Off at first: then it is taken of all groups, as one that is selected later needs it. A group
    // that is selected later nevertheless shows what the live tree holds, until the next initSnapshot.
    void holdSelectedOnly(bool on) { m_holdSelectedOnly = on; }

    // What rows had counted since the zero point, as of the last sample, that their tables gave up. Only of
    // the groups that are calculated. Packs don't carry it: a host hands it to the receiver beside them.
    // For tables with a base, which are "Network stations", "Network protocols", "MAC traffic" and "IP
    // traffic": the sum of the rows and this is what was counted since the zero point, at every sample, while
    // rows are told apart and the live tree isn't reset. The other tables count from the last reset on, and so
    // do their ledgers.
    CLedgers const & getLedgers() const { return m_ledgers; }
    void setLedgers(CLedgers const & ledgers)
    {
        m_ledgers = ledgers;
        forgetSamples();
    }
    // What of it no row shows: a receiver's row of the others has a part of "IP traffic" already.
    CLedgers getGivenUp() const;

    // When the last sample was taken, or before any the zero point.
    _SYSTEMTIME getSampleStart() const;

    // Starts or ends the counting of what a filter of the host's accepts, and counts a frame that passed it.
    // The host serialises the latter with nextSample.
    void EnableGlobalFiltering(bool on);
    void FramePassedFilter(CFrame const * frame);

private:
    void enableAllOids();
    void removeAllOids();
    void setZeroPoint(CAgentStatistic const & live);
    CAgentStatistic & nodes();
    void expectLimitsOf(CAgentStatistic const & live) const;
    void setGroupFlags(COid const & oid, bool on);
    bool selected(unsigned int group) const { return m_enabled[group] != 0; }
    void forgetSamples();

    void calculateSampleStats(CAgentStatistic const & live);
    void calculateGlobalErrors(CAgentStatistic const & live);
    void calculateAccuracy();
    void calculateGlobalStats(CAgentStatistic const & live);
    void calculateFrameTables(CAgentStatistic const & live);
    void calculateNetworkStationsStats(CAgentStatistic const & live);
    void calculateNetworkProtocolsStats(CAgentStatistic const & live);
    void calculateMACConnectionsStats(CAgentStatistic const & live);
    void calculateIPConnectionsStats(CAgentStatistic const & live);
    void calculateARPTableStats(CAgentStatistic const & live);
    void calculateIPSubProtocolStats(CAgentStatistic const & live);
    void calculateIPPortsStats(CAgentStatistic const & live);
    void calculateGlobalFilterStats();

    void calculateFrameTablesPercent(percentVal base);
    void calculateNetworkStationsStatsPercent(percentVal base);
    void calculateNetworkProtocolsStatsPercent(percentVal base);
    void calculateMACConnectionsStatsPercent(percentVal base);
    void calculateIPConnectionsStatsPercent(percentVal base);

    template <class Tree>
    bool compareAssign(Tree const & source, Tree & target, CStatTreeNode * node);
    bool compareAssign(CStatTreeNode & root);
    CExtendedPart & extended();
    static bool isExtended(COid const & oid)
    {
        return oid.length() != 0 && oid[0] == CExtendedStatistic::rootId;
    }

    std::unique_ptr<CStatTreeNode> m_root; // null until the first addOid
    CAgentStatistic m_visible;             // its tables lie flat while m_flat is up
    CAgentStatistic m_sample;              // its tables lie flat
    CAgentStatistic m_base;                // without its tables, of which m_zero has what counts
    CSystemTime m_sampleStart;
    CSystemTime m_sampleEnd;
    CSystemTime m_firstSampleStart;
    struct
    {
        CTableZero<CStationStat> stations;
        CTableZero<CProtocolStat> protocols;
        CTableZero<CMACConnectionStat> macConnections;
        CTableZero<CIPConnectionStat> ipConnections;
    } m_zero;
    CSampledVersion m_sampledBindings;
    std::unique_ptr<CExtendedPart> m_extended; // of the second tree, once somebody asks for it
    CLedgers m_ledgers;
    bool m_flat = true;
    bool m_tellRowsApart = false;
    bool m_holdSelectedOnly = false;
    double m_linkSpeed = 0.0;                  // bytes per second
    std::array<unsigned char, 50> m_enabled{}; // by id of the groups under the root
    bool m_globalFiltering = false;
    unsigned int m_passedFrames = 0;
};

} // namespace KetStats
