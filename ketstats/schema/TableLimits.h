#pragma once

namespace KetStats {

// How many rows each table of a tree may have, a summary row included: a table without one holds one row
// less. The defaults are the library's own. Two trees that meet, as in a sample or a transfer, must have
// equal limits.
struct CTableLimits
{
    unsigned int stations = 200;
    unsigned int protocols = 200;
    unsigned int macConnections = 200;
    unsigned int ipConnections = 1000;
    unsigned int arpTable = 200;
    unsigned int ipSubprotocols = 200;
    unsigned int tcpPorts = 1000;
    unsigned int udpPorts = 1000;
    unsigned int stationTcpPorts = 200; // of each station
    unsigned int stationUdpPorts = 200;
    unsigned int ipv6Connections = 1000;
    unsigned int ipv6Protocols = 200;
    unsigned int ipv6TcpPorts = 1000;
    unsigned int ipv6UdpPorts = 1000;
    unsigned int vlans = 4097; // with room for every identifier
    unsigned int innerVlans = 4097;
    unsigned int neighbours = 200;

    friend bool operator==(CTableLimits const &, CTableLimits const &) = default;
};

// With less there is no room for a row.
inline constexpr unsigned int smallestTableLimit = 2;
// The greatest limit of a table: row ids have 16 bits.
inline constexpr unsigned int largestTableLimit = 65535;

} // namespace KetStats
