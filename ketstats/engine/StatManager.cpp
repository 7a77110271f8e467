#include "ketstats/engine/StatManager.h"

#include "ketstats/engine/EngineTables.h"
#include "ketstats/platform/Prefetch.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace KetStats {

namespace {

// The enable flag of an identifier, null if it has none.
template <class Flags>
auto * flagOf(Flags & flags, COid const & oid)
{
    auto const found = topLevelOids.find(oid);
    return found == topLevelOids.end() ? nullptr : &flags[static_cast<std::size_t>(found->second)];
}

// The bit of an identifier of the second tree among the controls of the pass, 0 if it has none.
unsigned int extendedBit(COid const & oid)
{
    constexpr unsigned int groups = 7;
    bool const isGroup =
        oid.length() == 2 && oid[0] == CExtendedStatistic::rootId && oid[1] >= 1 && oid[1] <= groups;
    return isGroup ? 1U << oid[1] : 0;
}

int bytesPerSecond(long bitsPerSecond)
{
    long const bytes = bitsPerSecond / 8;
    return static_cast<int>(
        std::clamp<long>(bytes, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

} // namespace

CKetrinStatManager::CKetrinStatManager(CTableLimits const & theLimits)
    : agentStatistic(theLimits),
      extendedStatistic(theLimits)
{}

CKetrinStatManager::~CKetrinStatManager()
{
    endAnalyzing();
}

bool CKetrinStatManager::beginAnalyzing(CNdisHook * hook)
{
    CWriteGuard const guard(gate);
    if (analyzing())
        return false;
    doReset();
    std::unique_ptr<CNDISRequesterProxy> asked(new (std::nothrow) CNDISRequesterProxy(hook));
    if (!asked)
        return false;
    // The hook is the host's and may throw: the manager has no requester then, and stays idle.
    linkSpeed.store(bytesPerSecond(asked->GetLinkSpeed()), std::memory_order_relaxed);
    requester = std::move(asked);
    isAnalyzing.store(true, std::memory_order_relaxed);
    return true;
}

void CKetrinStatManager::endAnalyzing()
{
    CWriteGuard const guard(gate);
    if (!analyzing())
        return;
    isAnalyzing.store(false, std::memory_order_relaxed);
    requester.reset();
}

void CKetrinStatManager::analyzeFrame(CNetworkFrame * frame)
{
    {
        CWriteGuard const guard(gate);
        if (!analyzing())
            return;
        doAnalyzeFrame(frame);
    }
    if (FrameHandler const handler = frameHandler.load(std::memory_order_relaxed))
        handler(frame, frameHandlerContext.load(std::memory_order_relaxed));
}

void CKetrinStatManager::analyzeFrames(std::span<CFrameView const> frames)
{
    // As many as a reader waits for.
    constexpr std::size_t atOnce = 64;
    // Memory is slower than counting, and what is needed of a frame lies in its first two lines.
    constexpr std::size_t ahead = 8;
    constexpr std::size_t headerBytes = 128;

    for (std::size_t next = 0; next < frames.size();) {
        FrameHandler handler = nullptr;
        {
            CWriteGuard const guard(gate);
            if (!analyzing())
                return;
            std::size_t const end = std::min(next + atOnce, frames.size());
            while (next < end && !handler) {
                if (next + ahead < frames.size())
                    platform::prefetch(frames[next + ahead].data, headerBytes);
                doAnalyzeFrame(frames[next++]);
                handler = frameHandler.load(std::memory_order_relaxed);
            }
        }
        if (handler)
            handOver(frames[next - 1], handler, frameHandlerContext.load(std::memory_order_relaxed));
    }
}

void CKetrinStatManager::reset()
{
    CWriteGuard const guard(gate);
    doReset();
}

void CKetrinStatManager::doReset()
{
    agentStatistic.reset();
    extendedStatistic.reset();
}

bool CKetrinStatManager::enableStatistic(COid const & oid)
{
    if (unsigned int const bit = extendedBit(oid)) {
        controls.extended.fetch_or(bit, std::memory_order_relaxed);
        return true;
    }
    auto * const flag = flagOf(controls.enabled, oid);
    if (flag)
        flag->store(true, std::memory_order_relaxed);
    return flag != nullptr;
}

bool CKetrinStatManager::disableStatistic(COid const & oid)
{
    if (unsigned int const bit = extendedBit(oid)) {
        controls.extended.fetch_and(~bit, std::memory_order_relaxed);
        return true;
    }
    auto * const flag = flagOf(controls.enabled, oid);
    if (flag)
        flag->store(false, std::memory_order_relaxed);
    return flag != nullptr;
}

bool CKetrinStatManager::statisticEnabled(COid const & oid) const
{
    if (unsigned int const bit = extendedBit(oid))
        return (controls.extended.load(std::memory_order_relaxed) & bit) != 0;
    auto const * const flag = flagOf(controls.enabled, oid);
    return flag && flag->load(std::memory_order_relaxed);
}

void CKetrinStatManager::RegisterFrameHandler(FrameHandler handler, void * context)
{
    frameHandlerContext.store(context, std::memory_order_relaxed);
    frameHandler.store(handler, std::memory_order_relaxed);
}

void CKetrinStatManager::setTCPPortRange(int low, int high)
{
    controls.tcpPorts.set(low, high);
}

void CKetrinStatManager::setUDPPortRange(int low, int high)
{
    controls.udpPorts.set(low, high);
}

} // namespace KetStats
