#pragma once

#include "ketstats/capture/FrameView.h"
#include "ketstats/capture/NetworkFrame.h"
#include "ketstats/capture/Requester.h"
#include "ketstats/engine/PassControls.h"
#include "ketstats/engine/ReadWriteGate.h"
#include "ketstats/extended/ExtendedStatistic.h"
#include "ketstats/platform/NeighbourTable.h"
#include "ketstats/schema/AgentStatistic.h"

#include <atomic>
#include <memory>
#include <span>
#include <vector>

namespace KetStats {

class CStatSnapshot;

// The object that a host makes once per capture, and the only door to the live statistic tree. Frames come in
// through analyzeFrame, samples go out by the reader side of the gate. The library starts no thread:
// everything runs on the caller's.
//
// 1. Whatever changes the tree holds the writer side of the gate, whatever samples it the reader side.
// 2. The host's frame handler runs outside the gate, on the thread that called analyzeFrame or
// analyzeFrames, so it may call
//    gated operations of the manager.
// 3. Flags, ranges and handler are single words without a lock; the pass reads each at the point where it
//    needs it, so a change made during a frame can apply to a later step of that frame. The handler and its
//    context are two stores: a host sets them before frames flow.
//
// An exception that leaves an operation releases the gate on its way.
class KETSTATS_API CKetrinStatManager
{
public:
    using FrameHandler = void (*)(CNetworkFrame const * frame, void * context);

    // The limits are those of the live tree's tables; see CAgentStatistic.
    explicit CKetrinStatManager(CTableLimits const & theLimits = {});
    virtual ~CKetrinStatManager();

    CKetrinStatManager(CKetrinStatManager const &) = delete;
    CKetrinStatManager & operator=(CKetrinStatManager const &) = delete;

    // Clears the tree and starts an analysis on the adapter behind `hook`, which may be null and otherwise
    // must live until endAnalyzing. False, with nothing changed, while an analysis runs already. What the hook
    // throws passes through; the tree is clear and no analysis runs then. Writer.
    bool beginAnalyzing(CNdisHook * hook);
    // Ends the analysis; the tree stays, so that clients can go on sampling it. Writer.
    void endAnalyzing();
    // Counts a frame and then calls the frame handler. Without an analysis it does neither. Writer.
    void analyzeFrame(CNetworkFrame * frame);
    // The same for many frames of Ethernet, one behind the other, and what a host should use that has them: it
    // costs less for each. Readers get in between at times, and behind the last. A frame handler is given a
    // CNetworkFrame of its frame, which is there for the call alone.
    void analyzeFrames(std::span<CFrameView const> frames);
    // Clears the tree. Writer.
    void reset();

    // Seeds the ARP table from the system's cache, without deleting a row to make room. True if at least one
    // row of the cache was handled; false, with the tree unchanged, if the cache can't be read. It works with
    // and without an analysis, but beginAnalyzing clears what was there before. A slow system call delays
    // frames. Writer.
    bool InsertARPTable();
    // The same from a table that the caller supplies.
    bool InsertARPTable(bool (*readNeighbours)(std::vector<platform::CNeighbour> & rows));

    // Set a snapshot's zero point, after the adapter was polled for its counters, and take its next sample.
    // Any number of them can run at once; the adapter's hook must bear being asked by several threads. Both
    // yield true. Reader.
    bool initSnapshot(CStatSnapshot * snapshot);
    bool nextSample(CStatSnapshot * snapshot);
    // Both at once, with no frame in between: what has a zero point shows nothing, and the tables that have none
    // show what they had at that very moment.
    bool startSampling(CStatSnapshot * snapshot);

    // Turn a group on or off, and tell whether it is on. All groups are off at first. False for an identifier
    // other than "1.1" to "1.9" and "2.1" to "2.7". The global counters and the ARP table are kept whatever the flags say.
    //
    //     "1.2" the driver's counters       "1.4" frame tables
    //     "1.5" stations and MAC traffic    "1.6" protocols
    //     "1.7" MAC traffic                 "1.8" IP traffic, IP sub-protocols, ports
    //
    // "1.1", "1.3" and "1.9" can be set and change nothing. Each group of the second tree has a flag of its own;
    // bindings of "2.5" that change are seen by "2.6" while both are on.
    bool enableStatistic(COid const & oid);
    bool disableStatistic(COid const & oid);
    bool statisticEnabled(COid const & oid) const;

    // Has `handler` called with every frame that was counted; null for none.
    void RegisterFrameHandler(FrameHandler handler, void * context);

    // The ports that get rows, limits included; 1 to 1024 at first. Low above high matches no port. It holds
    // from the next frame on and leaves existing rows alone.
    void setTCPPortRange(int low, int high);
    void setUDPPortRange(int low, int high);

    // Bytes per second, as the adapter told at the last beginAnalyzing; 0 before the first.
    int getLinkSpeed() const { return linkSpeed.load(std::memory_order_relaxed); }
    // Bytes on the medium that a frame's length doesn't include, as the first frame ever analysed told; -1
    // before it.
    long long getOverhead() const { return overhead.load(std::memory_order_relaxed); }
    bool analyzing() const { return isAnalyzing.load(std::memory_order_relaxed); }

    CTableLimits const & limits() const { return agentStatistic.limits(); }

    // The live tree, for whoever holds it still: no frame may be analysed meanwhile. A table that gives away a row
    // that isn't const can't know what becomes of it, and is sampled whole from then on, until it is reset.
    CAgentStatistic & getAgentStatistic() { return agentStatistic; }
    CExtendedStatistic & getExtendedStatistic() { return extendedStatistic; }

private:
    // A word that any thread may read and write without ordering.
    template <class T>
    using Word = std::atomic<T>;

    void doAnalyzeFrame(CNetworkFrame * frame);
    void doAnalyzeFrame(CFrameView const & view);
    void doReset();
    void UpdateHardwareStats();

    Word<FrameHandler> frameHandler{nullptr};
    Word<void *> frameHandlerContext{nullptr};
    Word<int> linkSpeed{0};
    CAgentStatistic agentStatistic;
    CExtendedStatistic extendedStatistic;
    CPassControls controls;
    Word<long long> overhead{-1};
    std::unique_ptr<CNDISRequesterProxy> requester;
    Word<bool> isAnalyzing{false};
    CReadWriteGate gate;
};

} // namespace KetStats
