#pragma once

#include "ketstats/capture/IPv6Header.h"
#include "ketstats/model/statvalues.h"

#include <optional>

namespace KetStats {

struct CNeighbourBinding
{
    CIPv6Address address;
    CMACAddrPacked mac;
};

// What a packet whose protocol is ICMPv6 says of an address and a MAC address. Nothing that isn't a whole neighbour
// solicitation or advertisement, or router advertisement, such as only a neighbour can have sent, says anything:
// routers have taken one off its hop limit, options fill it to the byte, and it is never a fragment.
std::optional<CNeighbourBinding> neighbourOf(CIPv6Header const & ip);

} // namespace KetStats
