#include "host/capture/LiveCapture.h"

#include "host/capture/posix/InterfaceCounters.h"
#include "host/capture/posix/PcapLive.h"

namespace ketmon {

CInput openLiveCapture(std::string const & interface, std::string const & filter, long linkSpeed)
{
    auto counters = std::make_unique<CInterfaceCounters>(interfaceFolder(interface), linkSpeed);
    CInterfaceCounters & known = *counters;
    auto source = std::make_unique<CPcapLive>(
        interface, filter, [&known](CCaptureCounters const & told) { known.setCapture(told); });
    std::bitset<32> const errors = known.errors();
    return {std::move(counters), std::move(source), errors, [&known] { return known.capture(); }};
}

} // namespace ketmon
