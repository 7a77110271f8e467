#include "host/capture/LiveCapture.h"

#include "host/capture/Offloads.h"
#include "host/capture/posix/InterfaceCounters.h"
#include "host/capture/posix/InterfaceState.h"
#include "host/capture/posix/InterfaceWait.h"
#include "host/capture/posix/PcapLive.h"
#include "host/support/Log.h"

#include <utility>

#include <linux/ethtool.h>
#include <net/if.h>

namespace ketmon {

namespace {

void warnOfOffloads(std::string const & interface, CLog & log)
{
    CInterfaceState const state;
    // No wire is behind a loopback interface.
    if ((state.flags(interface) & IFF_LOOPBACK) != 0)
        return;
    constexpr std::pair<char const *, std::uint32_t> questions[] = {
        {"gro", ETHTOOL_GGRO}, {"lro", ETHTOOL_GFLAGS}, {"tso", ETHTOOL_GTSO}, {"gso", ETHTOOL_GGSO}};
    std::vector<std::string> offloads;
    for (auto const & [name, question] : questions) {
        std::uint32_t const answer = state.driverValue(interface, question).value_or(0);
        // This one is a bit among others.
        if ((question == ETHTOOL_GFLAGS ? answer & ETH_FLAG_LRO : answer) != 0)
            offloads.emplace_back(name);
    }
    if (std::string const warning = offloadWarning(interface, offloads); !warning.empty())
        log.warn(warning);
}

CInput opened(CLiveOptions const & options, CLog & log)
{
    auto counters =
        std::make_unique<CInterfaceCounters>(interfaceFolder(options.interface), options.linkSpeed);
    CInterfaceCounters & known = *counters;
    auto source = std::make_unique<CPcapLive>(options, known, log);
    std::bitset<32> const errors = known.errors();
    return {std::move(counters), std::move(source), errors, [&known] { return known.capture(); }};
}

} // namespace

std::optional<CInput> openLiveCapture(CLiveOptions const & options, CLog & log)
{
    for (;;) {
        try {
            CInput input = opened(options, log);
            warnOfOffloads(options.interface, log);
            return input;
        } catch (CInterfaceNotReady const & failure) {
            if (!options.wait)
                throw;
            if (!awaitInterface(options.interface, failure.what(), options.waiting, log))
                return {};
        }
    }
}

} // namespace ketmon
