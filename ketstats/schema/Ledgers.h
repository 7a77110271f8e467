#pragma once

#include "ketstats/model/Ledger.h"

namespace KetStats {

// The ledgers of all tables of a tree.
struct CLedgers
{
    CLedger stations;
    CLedger protocols;
    CLedger macConnections;
    CLedger ipConnections;
    CLedger arpTable;
    CLedger ipSubprotocols;
    CLedger tcpPorts;
    CLedger udpPorts;
    CLedger stationTcpPorts; // of all stations, those that were given up included
    CLedger stationUdpPorts;

    friend bool operator==(CLedgers const &, CLedgers const &) = default;
};

} // namespace KetStats
