#include "host/capture/LiveCapture.h"

#include "host/capture/posix/InterfaceCounters.h"
#include "host/capture/posix/PcapLive.h"

namespace ketmon {

CInput openLiveCapture(std::string const & interface, std::string const & filter, long linkSpeed)
{
    auto counters = std::make_unique<CInterfaceCounters>(interfaceFolder(interface), linkSpeed);
    auto source =
        std::make_unique<CPcapLive>(interface, filter, [&known = *counters](long missed, long softMissed) {
            known.setLosses(missed, softMissed);
        });
    return {std::move(counters), std::move(source)};
}

} // namespace ketmon
