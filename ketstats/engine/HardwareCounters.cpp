#include "ketstats/engine/EngineTables.h"
#include "ketstats/engine/StatManager.h"

#include <limits>

namespace KetStats {

namespace {

struct CRequest
{
    CHardwareCounter counter;
    long (*ask)(CNDISRequesterProxy & requester);
};

template <long Oid>
long byNumber(CNDISRequesterProxy & requester)
{
    return requester.GetLong(Oid);
}

long missedFrames(CNDISRequesterProxy & requester)
{
    return requester.GetMissedFrames();
}
long softMissedFrames(CNDISRequesterProxy & requester)
{
    return requester.GetSoftMissedFrames();
}

// In the order of the requests, with the numbers of the driver interface.
CRequest const requests[] = {
    {&CGlobalErrorsStat::hardwareOverflows, &missedFrames},
    {&CGlobalErrorsStat::softwareOverflows, &softMissedFrames},
    {&CGlobalErrorsStat::crcErrors, &byNumber<0x0002020D>},
    {&CGlobalErrorsStat::alignmentErrors, &byNumber<0x01020101>},
    {&CGlobalErrorsStat::singleCollisions, &byNumber<0x01020102>},
    {&CGlobalErrorsStat::multipleCollisions, &byNumber<0x01020103>},
    {&CGlobalErrorsStat::deferred, &byNumber<0x01020201>},
    {&CGlobalErrorsStat::maxCollisions, &byNumber<0x01020202>},
    {&CGlobalErrorsStat::receiveOverruns, &byNumber<0x01020203>},
    {&CGlobalErrorsStat::heartbeatFailure, &byNumber<0x01020205>},
    {&CGlobalErrorsStat::carrierLost, &byNumber<0x01020206>},
    {&CGlobalErrorsStat::lateCollisions, &byNumber<0x01020207>},
};

// Bit for bit, as far as 32 bits go; a figure above them saturates.
unsigned int stored(long long figure)
{
    return figure > std::numeric_limits<unsigned int>::max() ? std::numeric_limits<unsigned int>::max()
                                                             : static_cast<unsigned int>(figure);
}

} // namespace

std::vector<CHardwareCounter> const & hardwareCounters()
{
    static std::vector<CHardwareCounter> const counters = [] {
        std::vector<CHardwareCounter> all;
        for (CRequest const & request : requests)
            all.push_back(request.counter);
        return all;
    }();
    return counters;
}

// Called with the reader side held, so that it can run beside samples and beside itself: each store is one
// word, of which a reader sees the old or the new value. It is the only thing that changes under that side.
// The flags stay, since these aren't counts of frames and a snapshot takes them by comparison.
void CKetrinStatManager::UpdateHardwareStats()
{
    if (!controls.counts(2) || !requester)
        return;
    for (CRequest const & request : requests)
        (agentStatistic.globalErrors.*request.counter).storeShared(stored(request.ask(*requester)));
}

} // namespace KetStats
