#include "host/render/Columns.h"

#include <boost/asio/ip/address_v6.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <utility>

namespace ketmon {

using nlohmann::ordered_json;

namespace {

template <class T>
ordered_json known(std::optional<T> const & value)
{
    return value ? ordered_json(*value) : ordered_json();
}

std::optional<double> sum(std::optional<double> const & left, std::optional<double> const & right)
{
    if (!left && !right)
        return {};
    return left.value_or(0.0) + right.value_or(0.0);
}

using Row = CRowFigures;
constexpr auto sortOnly = CColumn::Use::sortOnly;

constexpr CColumn type{"type", [](Row const & row) { return ordered_json(row.type); }};
constexpr CColumn name{"name", [](Row const & row) { return ordered_json(row.name); }};
constexpr CColumn leastBytes{"least_bytes", [](Row const & row) { return known(row.leastBytes); }};
constexpr CColumn mostBytes{"most_bytes", [](Row const & row) { return known(row.mostBytes); }};
constexpr CColumn address{"address", [](Row const & row) { return ordered_json(row.address); }};
constexpr CColumn source{"source", [](Row const & row) { return ordered_json(row.source); }};
constexpr CColumn destination{"destination", [](Row const & row) { return ordered_json(row.destination); }};
constexpr CColumn macAddress{"mac_address", [](Row const & row) { return ordered_json(row.macAddress); }};
constexpr CColumn protocol{"protocol", [](Row const & row) { return known(row.code); }};
constexpr CColumn port{"port", [](Row const & row) { return known(row.code); }};
constexpr CColumn vlan{"vlan", [](Row const & row) { return known(row.vlan); }};
constexpr CColumn vlanOfRow{"vlan", [](Row const & row) { return known(row.code); }};

constexpr CColumn frames{"frames", [](Row const & row) { return known(row.frames); }};
constexpr CColumn bytes{"bytes", [](Row const & row) { return known(row.bytes); }};
constexpr CColumn framesSent{"frames_sent", [](Row const & row) { return known(row.framesSent); }};
constexpr CColumn bytesSent{"bytes_sent", [](Row const & row) { return known(row.bytesSent); }};
constexpr CColumn framesReceived{"frames_received",
                                 [](Row const & row) { return known(row.framesReceived); }};
constexpr CColumn bytesReceived{"bytes_received", [](Row const & row) { return known(row.bytesReceived); }};
constexpr CColumn share{"share", [](Row const & row) { return known(row.share); }};
constexpr CColumn average{"average_frame_bytes",
                          [](Row const & row) { return known(row.averageFrameBytes); }};

constexpr CColumn allFrames{"frames", [](Row const & row) { return ordered_json(row.totalFrames()); },
                            sortOnly};
constexpr CColumn allBytes{"bytes", [](Row const & row) { return ordered_json(row.totalBytes()); }, sortOnly};
constexpr CColumn frameRate{"frames_per_second",
                            [](Row const & row) {
                                return known(
                                    sum(row.rate.framesPerSecond,
                                        sum(row.rateSent.framesPerSecond, row.rateReceived.framesPerSecond)));
                            },
                            sortOnly};
constexpr CColumn bitRate{"bits_per_second",
                          [](Row const & row) {
                              return known(sum(row.rate.bitsPerSecond, sum(row.rateSent.bitsPerSecond,
                                                                           row.rateReceived.bitsPerSecond)));
                          },
                          sortOnly};

struct CTableColumns
{
    char const * table;
    std::vector<CColumn> columns;
};

constexpr char const * portsOfAStation = "ports";

std::vector<CTableColumns> const & allColumns()
{
    static std::vector<CColumn> const ofPorts{port,    framesSent, bytesSent, framesReceived, bytesReceived,
                                              average, allFrames,  allBytes,  frameRate,      bitRate};
    static std::vector<CTableColumns> const all{
        {"frame_types", {type, name, frames, bytes, share, average, frameRate, bitRate}},
        {"frame_sizes", {leastBytes, mostBytes, name, frames, bytes, share, average, frameRate, bitRate}},
        {"stations",
         {address, vlan, framesSent, bytesSent, framesReceived, bytesReceived, share, average, allFrames,
          allBytes, frameRate, bitRate}},
        {"protocols", {protocol, frames, bytes, share, average, frameRate, bitRate}},
        {"mac_traffic", {source, destination, frames, bytes, share, average, frameRate, bitRate}},
        {"ip_traffic", {source, destination, frames, bytes, share, average, frameRate, bitRate}},
        {"arp", {address, macAddress}},
        {"ip_protocols", {protocol, frames, bytes, share, average, frameRate, bitRate}},
        {"tcp_ports", ofPorts},
        {"udp_ports", ofPorts},
        {"ipv6_traffic", {source, destination, frames, bytes, share, average, frameRate, bitRate}},
        {"ipv6_protocols", {protocol, frames, bytes, share, average, frameRate, bitRate}},
        {"ipv6_tcp_ports", ofPorts},
        {"ipv6_udp_ports", ofPorts},
        {"vlans", {vlanOfRow, frames, bytes, share, average, frameRate, bitRate}},
        {"inner_vlans", {vlanOfRow, frames, bytes, share, average, frameRate, bitRate}},
        {"neighbours", {address, macAddress}},
        {"tunnels", {type, name, frames, bytes, share, average, frameRate, bitRate}},
        {portsOfAStation, ofPorts},
    };
    return all;
}

bool bothWays(std::vector<CColumn> const & columns)
{
    return std::any_of(columns.begin(), columns.end(),
                       [](CColumn const & column) { return column.value == framesSent.value; });
}

bool oneWay(std::vector<CColumn> const & columns)
{
    return std::any_of(columns.begin(), columns.end(),
                       [](CColumn const & column) { return column.value == frames.value; });
}

// An IPv4 or MAC address as one number; none for another text.
std::optional<std::uint64_t> numberOfShortAddress(std::string const & text)
{
    bool const mac = text.find(':') != text.npos;
    std::uint64_t number = 0;
    char const * at = text.data();
    char const * const end = at + text.size();
    for (;;) {
        unsigned int octet = 0;
        auto const [stop, error] = std::from_chars(at, end, octet, mac ? 16 : 10);
        if (error != std::errc() || octet > 255)
            return {};
        number = number << 8 | octet;
        if (stop == end)
            return number;
        if (*stop != (mac ? ':' : '.'))
            return {};
        at = stop + 1;
    }
}

// An address of any kind, as what orders addresses: by kind, and then as numbers.
std::optional<std::array<unsigned char, 17>> orderOfAddress(std::string const & text)
{
    std::array<unsigned char, 17> order{};
    if (auto const number = numberOfShortAddress(text)) {
        for (unsigned int i = 0; i < sizeof *number; ++i)
            order[16 - i] = static_cast<unsigned char>(*number >> 8 * i);
        return order;
    }
    boost::system::error_code isNone;
    auto const octets = boost::asio::ip::make_address_v6(text, isNone).to_bytes();
    if (isNone)
        return {};
    order[0] = 1;
    std::copy(octets.begin(), octets.end(), order.begin() + 1);
    return order;
}

bool standsBefore(ordered_json const & left, ordered_json const & right)
{
    if (left.is_null() || right.is_null())
        return !left.is_null() && right.is_null();
    if (left.is_number() && right.is_number()) {
        bool const floats = left.is_number_float() || right.is_number_float();
        return floats ? left.get<double>() > right.get<double>()
                      : left.get<std::uint64_t>() > right.get<std::uint64_t>();
    }
    if (!left.is_string() || !right.is_string())
        return false;
    auto const & leftText = left.get_ref<std::string const &>();
    auto const & rightText = right.get_ref<std::string const &>();
    auto const leftAddress = orderOfAddress(leftText);
    auto const rightAddress = orderOfAddress(rightText);
    return leftAddress && rightAddress ? *leftAddress < *rightAddress : leftText < rightText;
}

} // namespace

std::vector<CColumn> const & tableColumns(std::string const & table)
{
    static std::vector<CColumn> const none;
    for (CTableColumns const & each : allColumns())
        if (each.table == table)
            return each.columns;
    return none;
}

bool hasColumn(std::string const & table, std::string const & column)
{
    std::vector<CColumn> const & columns = tableColumns(table);
    return std::any_of(columns.begin(), columns.end(),
                       [&](CColumn const & each) { return each.key == column; });
}

std::vector<std::string> const & tableKeys()
{
    static std::vector<std::string> const keys = [] {
        std::vector<std::string> all;
        for (CTableColumns const & each : allColumns())
            if (std::string(each.table) != portsOfAStation)
                all.emplace_back(each.table);
        return all;
    }();
    return keys;
}

ordered_json rateOf(CRowFigures const & row, std::string const & table)
{
    std::vector<CColumn> const & columns = tableColumns(table);
    ordered_json rate;
    if (oneWay(columns) && row.rate.framesPerSecond) {
        rate["frames_per_second"] = known(row.rate.framesPerSecond);
        rate["bits_per_second"] = known(row.rate.bitsPerSecond);
    } else if (bothWays(columns) && (row.rateSent.framesPerSecond || row.rateReceived.framesPerSecond)) {
        rate["frames_sent_per_second"] = known(row.rateSent.framesPerSecond);
        rate["bits_sent_per_second"] = known(row.rateSent.bitsPerSecond);
        rate["frames_received_per_second"] = known(row.rateReceived.framesPerSecond);
        rate["bits_received_per_second"] = known(row.rateReceived.bitsPerSecond);
    }
    return rate;
}

void sortRows(std::vector<CRowFigures> & rows, std::string const & table, std::string const & column)
{
    std::vector<CColumn> const & columns = tableColumns(table);
    auto const found = std::find_if(columns.begin(), columns.end(),
                                    [&](CColumn const & each) { return each.key == column; });
    if (found == columns.end())
        return;
    // Each value is made once.
    std::vector<std::pair<ordered_json, std::size_t>> order;
    order.reserve(rows.size());
    for (CRowFigures const & row : rows)
        order.emplace_back(found->value(row), order.size());
    std::stable_sort(order.begin(), order.end(), [](auto const & left, auto const & right) {
        return standsBefore(left.first, right.first);
    });
    std::vector<CRowFigures> sorted;
    sorted.reserve(rows.size());
    for (auto const & each : order)
        sorted.push_back(std::move(rows[each.second]));
    rows = std::move(sorted);
}

} // namespace ketmon
