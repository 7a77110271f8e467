#include "host/capture/Interfaces.h"

#include "host/capture/posix/InterfaceState.h"
#include "host/support/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>

#include <arpa/inet.h>
#include <ifaddrs.h>

#include <linux/if_packet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>

namespace ketmon {

namespace {

std::string addressText(int family, void const * address)
{
    char text[INET6_ADDRSTRLEN] = "";
    return inet_ntop(family, address, text, sizeof text) ? text : "";
}

std::string macText(sockaddr_ll const & link)
{
    constexpr unsigned char length = 6;
    return link.sll_halen == length
               ? fmt::format("{:02x}", fmt::join(link.sll_addr, link.sll_addr + length, ":"))
               : "";
}

// Interfaces whose frames are packets of IP, for tunnels of all kinds.
bool isOfIP(unsigned int hardware)
{
    constexpr unsigned int rawIP = 519; // this and the next the C library has no names for
    constexpr unsigned int greOverIPv6 = 823;
    constexpr unsigned int kinds[] = {ARPHRD_NONE,    rawIP,      ARPHRD_PPP,   ARPHRD_TUNNEL,
                                      ARPHRD_TUNNEL6, ARPHRD_SIT, ARPHRD_IPGRE, greOverIPv6};
    return std::find(std::begin(kinds), std::end(kinds), hardware) != std::end(kinds);
}

void takeLink(ifaddrs const & entry, unsigned int index, unsigned int hardware, CInterface & interface,
              CInterfaceState const & state)
{
    interface.name = entry.ifa_name;
    interface.index = index;
    interface.up = (entry.ifa_flags & IFF_UP) != 0;
    interface.running = (entry.ifa_flags & IFF_RUNNING) != 0;
    interface.loopback = (entry.ifa_flags & IFF_LOOPBACK) != 0;
    interface.ethernet = hardware == ARPHRD_ETHER || hardware == ARPHRD_LOOPBACK;
    interface.countable = interface.ethernet || isOfIP(hardware);
    interface.bitsPerSecond = state.bitsPerSecond(interface.name);
    interface.driver = state.driver(interface.name);
}

// An entry of the list tells one address of an interface, of the link or of IP; that of a link may have none.
void take(ifaddrs const & entry, CInterface & interface, CInterfaceState const & state)
{
    if (!entry.ifa_addr) {
        std::optional<unsigned int> const index = state.index(entry.ifa_name);
        std::optional<unsigned int> const hardware = state.hardware(entry.ifa_name);
        if (index && hardware)
            takeLink(entry, *index, *hardware, interface, state);
        return;
    }
    switch (entry.ifa_addr->sa_family) {
    case AF_PACKET: {
        auto const & link = *reinterpret_cast<sockaddr_ll const *>(entry.ifa_addr);
        takeLink(entry, static_cast<unsigned int>(link.sll_ifindex), link.sll_hatype, interface, state);
        if (!interface.loopback)
            interface.mac = macText(link);
        break;
    }
    case AF_INET:
        interface.addresses.push_back(
            addressText(AF_INET, &reinterpret_cast<sockaddr_in const *>(entry.ifa_addr)->sin_addr));
        break;
    case AF_INET6:
        interface.addresses.push_back(
            addressText(AF_INET6, &reinterpret_cast<sockaddr_in6 const *>(entry.ifa_addr)->sin6_addr));
        break;
    default:
        break;
    }
}

} // namespace

std::vector<CInterface> networkInterfaces()
{
    CInterfaceState const state;
    ifaddrs * first = nullptr;
    if (getifaddrs(&first) != 0)
        throw CFailure(exitFailure,
                       fmt::format("the interfaces can't be asked for: {}", std::strerror(errno)));
    std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> const list(first, &freeifaddrs);
    std::map<std::string, CInterface> byName;
    for (ifaddrs const * entry = first; entry; entry = entry->ifa_next)
        take(*entry, byName[entry->ifa_name], state);
    std::vector<CInterface> interfaces;
    for (auto & [name, interface] : byName)
        if (interface.index != 0) // the others are second names of one
            interfaces.push_back(std::move(interface));
    std::sort(interfaces.begin(), interfaces.end(),
              [](CInterface const & one, CInterface const & other) { return one.index < other.index; });
    return interfaces;
}

} // namespace ketmon
