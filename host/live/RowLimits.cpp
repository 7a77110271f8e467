#include "host/live/RowLimits.h"

#include "host/support/Failure.h"
#include "host/support/OptionChecks.h"

#include <fmt/format.h>

#include <charconv>
#include <string_view>

namespace ketmon {

using KetStats::CTableLimits;

namespace {

struct CTable
{
    std::string_view name;
    unsigned int CTableLimits::*limit;
    bool ofAll = true; // whether "all" means it too
};

constexpr CTable tables[] = {
    {"stations", &CTableLimits::stations},
    {"protocols", &CTableLimits::protocols},
    {"mac_traffic", &CTableLimits::macConnections},
    {"ip_traffic", &CTableLimits::ipConnections},
    {"arp", &CTableLimits::arpTable},
    {"ip_protocols", &CTableLimits::ipSubprotocols},
    {"tcp_ports", &CTableLimits::tcpPorts},
    {"udp_ports", &CTableLimits::udpPorts},
    {"station_tcp_ports", &CTableLimits::stationTcpPorts, false},
    {"station_udp_ports", &CTableLimits::stationUdpPorts, false},
    {"ipv6_traffic", &CTableLimits::ipv6Connections},
    {"ipv6_protocols", &CTableLimits::ipv6Protocols},
    {"ipv6_tcp_ports", &CTableLimits::ipv6TcpPorts},
    {"ipv6_udp_ports", &CTableLimits::ipv6UdpPorts},
    {"vlans", &CTableLimits::vlans, false}, // there are 4,096
    {"inner_vlans", &CTableLimits::innerVlans, false},
    {"neighbours", &CTableLimits::neighbours},
};

// A limit counts the row of the others, whether the table has one or not.
constexpr unsigned int mostRows = KetStats::largestTableLimit - 1;

constexpr std::string_view everyTable = "all";
constexpr std::string_view libraryLimits = "standard";

[[noreturn]] void fail(std::string const & text, std::string const & reason)
{
    throw CFailure(exitBadInput, fmt::format("--rows: '{}' {}", text, reason));
}

unsigned int parsedRows(std::string const & text, std::string_view digits)
{
    unsigned int rows = 0;
    char const * const end = digits.data() + digits.size();
    auto const [stop, error] = std::from_chars(digits.data(), end, rows);
    if (error != std::errc() || stop != end || rows < 1 || rows > mostRows)
        fail(text, fmt::format("needs a number of rows from 1 to {}", mostRows));
    return rows;
}

void setEveryTable(CTableLimits & limits, unsigned int rows)
{
    for (CTable const & table : tables)
        if (table.ofAll)
            limits.*table.limit = rows + 1;
}

void apply(std::string const & text, CTableLimits & limits)
{
    if (text == libraryLimits) {
        limits = {};
        return;
    }
    std::size_t const sign = text.find('=');
    if (sign == text.npos)
        fail(text, "is neither TABLE=N, such as ip_traffic=20000, nor 'standard'");
    std::string_view const name = std::string_view(text).substr(0, sign);
    unsigned int const rows = parsedRows(text, std::string_view(text).substr(sign + 1));
    if (name == everyTable)
        return setEveryTable(limits, rows);
    for (CTable const & table : tables)
        if (table.name == name) {
            limits.*table.limit = rows + 1;
            return;
        }
    std::vector<std::string_view> names{everyTable};
    for (CTable const & table : tables)
        names.push_back(table.name);
    fail(text, fmt::format("names no table; they are {}", fmt::join(names, ", ")));
}

} // namespace

void addRowsOption(CLI::App & command, CRowOptions & options)
{
    command
        .add_option(
            "--rows", options.given,
            fmt::format("Rows that a table keeps, 1 to {}: TABLE=N such as ip_traffic=20000, or all=N "
                        "for every table but those of VLANs; 'standard' for the library's own limits. May be "
                        "given again. "
                        "{} rows a table unless given, about {}",
                        mostRows, options.usual, options.cost))
        ->allow_extra_args(false)
        ->check(notEmpty())
        ->type_name("ROWS");
}

CTableLimits tableLimits(CRowOptions const & options)
{
    CTableLimits limits;
    setEveryTable(limits, options.usual);
    for (std::string const & text : options.given)
        apply(text, limits);
    return limits;
}

} // namespace ketmon
