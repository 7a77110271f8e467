#include "host/render/FittedTable.h"
#include "host/render/Picture.h"
#include "host/support/Escaped.h"

#include <fmt/core.h>

#include <algorithm>

namespace ketmon {

namespace {

// What of the rows is shown.
std::size_t shownOf(CPicture const & picture, std::size_t all)
{
    return picture.style.top == 0 ? all : std::min<std::size_t>(picture.style.top, all);
}

std::string averageText(CRowFigures const & row)
{
    return row.totalFrames() == 0 ? "-" : allDigits(row.totalBytes() / row.totalFrames());
}

std::string averageRate(CPicture const & picture, CRowFigures const & row)
{
    std::optional<double> const seconds = picture.figures.durationSeconds();
    return seconds ? roughly(static_cast<double>(row.totalBytes()) * 8.0 / *seconds) : "";
}

// How many rows aren't shown, and what they come to; that is told of pairs alone, since each of their frames
// counts in one.
std::string restText(CPicture const & picture, std::vector<CRowFigures const *> const & rows,
                     std::size_t shown, std::string const & what)
{
    if (shown == rows.size())
        return {};
    std::uint64_t frames = 0;
    std::uint64_t bytes = 0;
    for (std::size_t i = shown; i < rows.size(); ++i) {
        frames += rows[i]->totalFrames();
        bytes += rows[i]->totalBytes();
    }
    return wrapped("  ",
                   fmt::format("and {} more: {}, {} (--top 0 shows all)",
                               picture.quantity.counted(rows.size() - shown, what),
                               picture.quantity.frames(frames), picture.quantity.bytes(bytes)),
                   picture.style.width);
}

// The ends of a pair, with names where there are any.
std::pair<std::string, std::string> endsOf(CPicture const & picture, CRowFigures const & row, bool ip)
{
    if (row.others)
        return {"(others)", "(others)"};
    if (!ip)
        return {escaped(row.source), escaped(row.destination)};
    return {picture.end(row.source), picture.end(row.destination)};
}

// Room for the addresses as they are, but for those of IPv6 where two of them leave too little for figures.
std::size_t leastForAddresses(CPicture const & picture, std::vector<CRowFigures const *> const & rows,
                              std::size_t shown)
{
    constexpr std::size_t ofIPv4 = 15;
    constexpr std::size_t figures = 34;
    std::size_t longest = ofIPv4;
    for (std::size_t i = 0; i < shown; ++i)
        for (std::string const & address : {rows[i]->source, rows[i]->destination})
            if (picture.names.host(address).empty())
                longest = std::max(longest, address.size());
    return std::clamp(longest, ofIPv4, std::max(ofIPv4, (picture.style.width - figures) / 2));
}

// The address beside a name that took its place.
std::string numberOf(CPicture const & picture, std::string const & address, bool ip)
{
    return ip && !picture.names.host(address).empty() ? escaped(address) : "";
}

} // namespace

std::string conversationsText(CPicture const & picture, std::vector<std::string> const & keys,
                              std::string const & title)
{
    std::vector<CTableFigures const *> tables;
    std::vector<CRowFigures> both;
    for (std::string const & key : keys)
        if (CTableFigures const * const pairs = picture.filled(key)) {
            tables.push_back(pairs);
            std::vector<CRowFigures> const found = conversations(*pairs);
            both.insert(both.end(), found.begin(), found.end());
        }
    if (tables.empty())
        return {};
    bool const ip = keys.front() == "ip_traffic";
    auto const rows = busiest(both, picture.order(keys.front()));
    std::size_t const shown = shownOf(picture, rows.size());

    CFittedTable table(picture.style.ascii);
    std::size_t const least = ip ? leastForAddresses(picture, rows, shown) : 17; // numbers are never cut
    table.addColumn({"A", CFittedTable::left, 0, least, 48, ip});
    table.addColumn({"Number of A", CFittedTable::left, 8});
    table.addColumn({"Vendor of A", CFittedTable::left, 5, 12, 24});
    table.addColumn({"B", CFittedTable::left, 0, least, 48, ip});
    table.addColumn({"Number of B", CFittedTable::left, 8});
    table.addColumn({"Vendor of B", CFittedTable::left, 5, 12, 24});
    table.addColumn({"A to B", CFittedTable::right, 1});
    table.addColumn({"B to A", CFittedTable::right, 1});
    table.addColumn({"Bytes"});
    table.addColumn({"Frames"});
    table.addColumn({"Frames A to B", CFittedTable::right, 7});
    table.addColumn({"B to A", CFittedTable::right, 7});
    table.addColumn({"Size", CFittedTable::right, 6});
    table.addColumn({"bit/s", CFittedTable::right, 9});
    table.addColumn({"Share"});
    table.setBar(4, 4, 30);
    for (std::size_t i = 0; i < shown; ++i) {
        CRowFigures const & row = *rows[i];
        auto const [a, b] = endsOf(picture, row, ip);
        table.addRow(
            {a, numberOf(picture, row.source, ip), ip ? "" : escaped(picture.names.vendor(row.source)), b,
             numberOf(picture, row.destination, ip), ip ? "" : escaped(picture.names.vendor(row.destination)),
             picture.quantity(row.bytesSent), picture.quantity(row.bytesReceived),
             picture.quantity(row.totalBytes()), picture.quantity(row.totalFrames()),
             picture.quantity(row.framesSent), picture.quantity(row.framesReceived), averageText(row),
             averageRate(picture, row), percentText(picture.share(row))},
            picture.share(row));
    }
    std::string text = titleText(picture, title, *tables.front(), shown, rows.size()) +
                       table.toString(picture.style.width) + restText(picture, rows, shown, "pair");
    for (CTableFigures const * const pairs : tables)
        text += givenUpText(picture, *pairs);
    return text;
}

namespace {

// The addresses that ARP, or a neighbour's word, bound to a station: the first one, and how many more.
std::string addressesOf(CPicture const & picture, std::string const & mac)
{
    std::string text;
    std::size_t more = 0;
    for (char const * const key : {"arp", "neighbours"}) {
        CTableFigures const * const bindings = picture.filled(key);
        if (!bindings)
            continue;
        for (CRowFigures const & row : bindings->rows) {
            if (row.macAddress != mac)
                continue;
            if (text.empty())
                text = picture.end(row.address);
            else
                ++more;
        }
    }
    return more == 0 ? text : fmt::format("{} +{}", text, more);
}

std::string portName(CPicture const & picture, CTransport transport, CRowFigures const & row)
{
    std::uint32_t const port = row.code.value_or(0);
    std::string const service = escaped(picture.names.service(transport, port));
    return service.empty() ? fmt::format("{}/{}", port, transport == CTransport::tcp ? "tcp" : "udp")
                           : service;
}

// The busiest ports of a station, of both kinds.
std::string portsOf(CPicture const & picture, CRowFigures const & station)
{
    constexpr std::size_t most = 3;
    std::vector<std::pair<std::uint64_t, std::string>> ports;
    for (CRowFigures const * const row : busiest(station.tcpPorts, "bytes"))
        ports.emplace_back(row->totalBytes(), portName(picture, CTransport::tcp, *row));
    for (CRowFigures const * const row : busiest(station.udpPorts, "bytes"))
        ports.emplace_back(row->totalBytes(), portName(picture, CTransport::udp, *row));
    std::stable_sort(ports.begin(), ports.end(),
                     [](auto const & left, auto const & right) { return left.first > right.first; });
    std::string text;
    for (std::size_t i = 0; i < ports.size() && i < most; ++i)
        if (i == 0 || ports[i].second != ports[i - 1].second)
            text += (i == 0 ? "" : " ") + ports[i].second;
    return ports.size() > most ? fmt::format("{} +{}", text, ports.size() - most) : text;
}

} // namespace

std::string stationsText(CPicture const & picture)
{
    CTableFigures const * const stations = picture.filled("stations");
    if (!stations)
        return {};
    auto const rows = busiest(stations->rows, picture.order("stations"));
    std::size_t const shown = shownOf(picture, rows.size());

    CFittedTable table(picture.style.ascii);
    table.addColumn({"Address", CFittedTable::left, 0, 17, 17});
    table.addColumn({"Vendor", CFittedTable::left, 4, 6, 24});
    table.addColumn({picture.filled("neighbours") ? "IP" : "IPv4", CFittedTable::left, 2, 19, 40});
    table.addColumn({"VLAN", CFittedTable::right, 3});
    table.addColumn({"Ports", CFittedTable::left, 9, 16, 32});
    table.addColumn({"Sent"});
    table.addColumn({"Received"});
    table.addColumn({"Frames sent", CFittedTable::right, 8});
    table.addColumn({"Received", CFittedTable::right, 8});
    table.addColumn({"Frames", CFittedTable::right, 6});
    table.addColumn({"Share"});
    table.setBar(5, 4, 20);
    for (std::size_t i = 0; i < shown; ++i) {
        CRowFigures const & row = *rows[i];
        table.addRow({escaped(row.address), escaped(picture.names.vendor(row.address)),
                      addressesOf(picture, row.address), row.vlan ? fmt::format("{}", *row.vlan) : "",
                      portsOf(picture, row), picture.quantity(row.bytesSent),
                      picture.quantity(row.bytesReceived), picture.quantity(row.framesSent),
                      picture.quantity(row.framesReceived), picture.quantity(row.totalFrames()),
                      percentText(picture.share(row))},
                     picture.share(row));
    }
    std::string text =
        titleText(picture, "Stations", *stations, shown, rows.size()) + table.toString(picture.style.width);
    if (shown < rows.size())
        text += fmt::format("  and {} more (--top 0 shows all)\n",
                            picture.quantity.counted(rows.size() - shown, "station"));
    bool const tagged = std::any_of(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(shown),
                                    [](CRowFigures const * row) { return row->vlan.has_value(); });
    if (tagged)
        text += fmt::format("  VLAN has the low 8 bits of the identifier{}.\n",
                            picture.filled("vlans") ? "; all 12 stand under VLANs" : "");
    return text + givenUpText(picture, *stations);
}

std::string portsText(CPicture const & picture)
{
    struct CKind
    {
        char const * table;
        CTransport transport;
        char const * name;
        char const * nameOfTwo; // where both families have rows
    };
    static constexpr CKind kinds[] = {{"tcp_ports", CTransport::tcp, "TCP", "TCP, IPv4"},
                                      {"udp_ports", CTransport::udp, "UDP", "UDP, IPv4"},
                                      {"ipv6_tcp_ports", CTransport::tcp, "TCP, IPv6", "TCP, IPv6"},
                                      {"ipv6_udp_ports", CTransport::udp, "UDP, IPv6", "UDP, IPv6"}};
    bool const two = picture.filled("ipv6_tcp_ports") || picture.filled("ipv6_udp_ports");
    std::vector<CTableFigures const *> tables;
    std::vector<CRowFigures> all;
    for (CKind const & kind : kinds)
        if (CTableFigures const * const table = picture.filled(kind.table)) {
            tables.push_back(table);
            for (CRowFigures row : table->rows) {
                row.name = two ? kind.nameOfTwo : kind.name;
                row.address = picture.names.service(kind.transport, row.code.value_or(0));
                all.push_back(std::move(row));
            }
        }
    if (tables.empty())
        return {};
    auto const rows = busiest(all, picture.order("tcp_ports"));
    std::size_t const shown = shownOf(picture, rows.size());

    CFittedTable table(picture.style.ascii);
    table.addColumn({"", CFittedTable::left});
    table.addColumn({"Port"});
    table.addColumn({"Service", CFittedTable::left, 0, 8, 24});
    table.addColumn({"Bytes from"});
    table.addColumn({"Bytes to"});
    table.addColumn({"Frames from"});
    table.addColumn({"Frames to"});
    table.setBar(1, 4, 30);
    std::uint64_t const most = rows.empty()         ? 0
                               : picture.byFrames() ? rows[0]->totalFrames()
                                                    : rows[0]->totalBytes();
    for (std::size_t i = 0; i < shown; ++i) {
        CRowFigures const & row = *rows[i];
        table.addRow({row.name, fmt::format("{}", row.code.value_or(0)), escaped(row.address),
                      picture.quantity(row.bytesSent), picture.quantity(row.bytesReceived),
                      picture.quantity(row.framesSent), picture.quantity(row.framesReceived)},
                     shareOf(picture.byFrames() ? row.totalFrames() : row.totalBytes(), most));
    }
    std::string text = titleText(picture, "Ports", *tables.front(), shown, rows.size()) +
                       table.toString(picture.style.width);
    if (shown < rows.size())
        text += fmt::format("  and {} more (--top 0 shows all)\n",
                            picture.quantity.counted(rows.size() - shown, "port"));
    for (CTableFigures const * const each : tables)
        text += givenUpText(picture, *each);
    return text + wrapped("  ", "Only ports 1 to 1024 have rows, or those of --tcp-ports and --udp-ports.",
                          picture.style.width);
}

namespace {

std::string bindingsOf(CPicture const & picture, CTableFigures const & bindings, std::string const & title,
                       std::string const & family)
{
    std::size_t const all = bindings.rows.size();
    std::size_t const shown = shownOf(picture, all);
    CFittedTable table(picture.style.ascii);
    table.addColumn({family, CFittedTable::left, 0, 15, 48});
    table.addColumn({"Address", CFittedTable::left});
    table.addColumn({"Vendor", CFittedTable::left, 1, 8, 40});
    for (std::size_t i = 0; i < shown; ++i) {
        CRowFigures const & row = bindings.rows[i];
        table.addRow({picture.end(row.address), escaped(row.macAddress),
                      escaped(picture.names.vendor(row.macAddress))});
    }
    std::string text = fmt::format("{} ({}), in the order of their discovery\n", title, allDigits(all)) +
                       table.toString(picture.style.width);
    if (shown < all)
        text += fmt::format("  and {} more (--top 0 shows all)\n",
                            picture.quantity.counted(all - shown, "binding"));
    return text + givenUpText(picture, bindings);
}

} // namespace

// Stations have their addresses beside them.
std::string bindingsText(CPicture const & picture)
{
    if (picture.filled("stations"))
        return {};
    std::string text;
    if (CTableFigures const * const bindings = picture.filled("arp"))
        text += bindingsOf(picture, *bindings, "ARP bindings", "IPv4");
    if (CTableFigures const * const neighbours = picture.filled("neighbours"))
        text += (text.empty() ? "" : "\n") + bindingsOf(picture, *neighbours, "IPv6 neighbours", "IPv6");
    return text;
}

std::string vlansText(CPicture const & picture, std::string const & key, std::string const & title)
{
    CTableFigures const * const vlans = picture.filled(key);
    if (!vlans)
        return {};
    auto const rows = busiest(vlans->rows, picture.order(key));
    std::size_t const shown = shownOf(picture, rows.size());
    CFittedTable table(picture.style.ascii);
    table.addColumn({"VLAN"});
    table.addColumn({"Bytes"});
    table.addColumn({"Frames"});
    table.addColumn({"Size", CFittedTable::right, 6});
    table.addColumn({"Share"});
    table.setBar(1, 4, 30);
    for (std::size_t i = 0; i < shown; ++i) {
        CRowFigures const & row = *rows[i];
        table.addRow({fmt::format("{}", row.code.value_or(0)), picture.quantity(row.bytes),
                      picture.quantity(row.frames), averageText(row), percentText(picture.share(row))},
                     picture.share(row));
    }
    std::string text =
        titleText(picture, title, *vlans, shown, rows.size()) + table.toString(picture.style.width);
    if (shown < rows.size())
        text += fmt::format("  and {} more (--top 0 shows all)\n",
                            picture.quantity.counted(rows.size() - shown, "VLAN"));
    return text + givenUpText(picture, *vlans);
}

// Kinds that carried anything.
std::string tunnelsText(CPicture const & picture)
{
    CTableFigures const * const tunnels = picture.filled("tunnels");
    if (!tunnels)
        return {};
    CFittedTable table(picture.style.ascii);
    table.addColumn({"", CFittedTable::left, 0, 8, 14});
    table.addColumn({"Bytes"});
    table.addColumn({"Frames"});
    table.addColumn({"Share"});
    table.setBar(1, 4, 30);
    bool any = false;
    for (CRowFigures const * const row : busiest(tunnels->rows, picture.order("tunnels"))) {
        if (row->totalFrames() == 0)
            continue;
        any = true;
        table.addRow({escaped(row->name), picture.quantity(row->bytes), picture.quantity(row->frames),
                      percentText(picture.share(*row))},
                     picture.share(*row));
    }
    return any ? "Tunnels, by " + picture.measure() + '\n' + table.toString(picture.style.width) : "";
}

namespace {

// A type, or the lengths that a row of sizes is for.
std::string labelOf(CRowFigures const & row)
{
    if (!row.leastBytes)
        return escaped(row.name);
    if (!row.mostBytes)
        return "over " + allDigits(*row.leastBytes - 1);
    return *row.leastBytes == 0
               ? "up to " + allDigits(*row.mostBytes)
               : fmt::format("{} to {}", allDigits(*row.leastBytes), allDigits(*row.mostBytes));
}

} // namespace

// The fixed rows of frame types and sizes: sizes as a histogram.
std::string frameTableText(CPicture const & picture, std::string const & key, std::string const & title)
{
    CTableFigures const * const frames = picture.filled(key);
    if (!frames)
        return {};
    CFittedTable table(picture.style.ascii);
    table.addColumn({"", CFittedTable::left, 0, 14, 14});
    table.addColumn({"Bytes"});
    table.addColumn({"Share"});
    table.addColumn({"Frames"});
    table.addColumn({"Share"});
    table.setBar(1, 10, 60);
    for (CRowFigures const & row : frames->rows) {
        CRatio const share = shareOf(row.totalFrames(), picture.figures.frames);
        table.addRow({fmt::format("{:<14}", labelOf(row)), picture.quantity(row.bytes),
                      percentText(shareOf(row.totalBytes(), picture.figures.bytes)),
                      picture.quantity(row.frames), percentText(share)},
                     share);
    }
    return title + '\n' + table.toString(picture.style.width);
}

} // namespace ketmon
