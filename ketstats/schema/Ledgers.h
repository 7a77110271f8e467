#pragma once

#include "ketstats/model/Ledger.h"

namespace KetStats {

// The ledgers of all tables, of both trees.
struct CLedgers
{
    CLedger stations{};
    CLedger protocols{};
    CLedger macConnections{};
    CLedger ipConnections{};
    CLedger arpTable{};
    CLedger ipSubprotocols{};
    CLedger tcpPorts{};
    CLedger udpPorts{};
    CLedger stationTcpPorts{}; // of all stations, those that were given up included
    CLedger stationUdpPorts{};
    CLedger ipv6Connections{};
    CLedger ipv6Protocols{};
    CLedger ipv6TcpPorts{};
    CLedger ipv6UdpPorts{};
    CLedger vlans{};
    CLedger innerVlans{};
    CLedger neighbours{};

    friend bool operator==(CLedgers const &, CLedgers const &) = default;
};

} // namespace KetStats
