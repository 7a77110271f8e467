#include "host/render/ReportText.h"

#include "host/render/Picture.h"
#include "host/support/Escaped.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <utility>

namespace ketmon {

namespace {

std::string sourceName(CSourceFigures const & source)
{
    std::string name = escaped(source.name);
    if (source.agent && *source.agent != source.name)
        name = escaped(*source.agent) + (name.empty() ? "" : " (" + name + ")");
    if (source.linkType != "ethernet")
        name += ", " + escaped(source.linkType);
    return name;
}

std::string fact(std::string const & name, std::string const & text)
{
    std::string line = fmt::format("  {:<9} {}", name, text);
    line.erase(line.find_last_not_of(' ') + 1);
    return line + '\n';
}

// What the capture itself lost, as far as it tells.
std::string captureFacts(CPicture const & picture)
{
    CFigures const & figures = picture.figures;
    if (!figures.received && !figures.droppedByKernel && !figures.droppedByInterface)
        return {};
    auto const count = [&](CCount const & frames) { return picture.quantity(frames); };
    return fact("Captured", fmt::format("{} received, {} dropped by the kernel, {} by the interface",
                                        count(figures.received), count(figures.droppedByKernel),
                                        count(figures.droppedByInterface)));
}

std::string filterFacts(CPicture const & picture)
{
    CFigures const & figures = picture.figures;
    if (!figures.filterGiven)
        return {};
    return fact("Filter",
                fmt::format("{} accepted, {} rejected, of {}", picture.quantity(figures.accepted),
                            picture.quantity(figures.rejected), picture.quantity(figures.filtered)));
}

std::string linkFacts(CFigures const & figures)
{
    if (!figures.source.linkBitsPerSecond)
        return {};
    std::string text = bitRateText(static_cast<double>(*figures.source.linkBitsPerSecond));
    if (figures.utilisationAverage)
        text += fmt::format(", used to {} on average", percentText(figures.utilisationAverage));
    if (figures.utilisationPeak)
        text += fmt::format(", {} at most", percentText(figures.utilisationPeak));
    return fact("Link", text);
}

// Tables in one sentence each, by what they are called.
std::string listed(std::vector<std::string> const & names)
{
    std::string text;
    for (std::string const & name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

// As the report calls it. Beside those of IPv6 tables of IPv4 are called so.
std::string titleOf(CPicture const & picture, CTableFigures const & table)
{
    static std::map<std::string, std::pair<std::string, std::string>> const ofIPv4 = {
        {"ip_traffic", {"ipv6_traffic", "IPv4 conversations"}},
        {"ip_protocols", {"ipv6_protocols", "protocols of IPv4"}},
        {"tcp_ports", {"ipv6_tcp_ports", "TCP ports of IPv4"}},
        {"udp_ports", {"ipv6_udp_ports", "UDP ports of IPv4"}}};
    if (auto const found = ofIPv4.find(table.key);
        found != ofIPv4.end() && picture.filled(found->second.first))
        return found->second.second;
    static std::map<std::string, std::string> const titles = {{"frame_types", "frame types"},
                                                              {"frame_sizes", "frame sizes"},
                                                              {"stations", "stations"},
                                                              {"protocols", "protocols"},
                                                              {"mac_traffic", "MAC conversations"},
                                                              {"ip_traffic", "IP conversations"},
                                                              {"arp", "ARP bindings"},
                                                              {"ip_protocols", "IP protocols"},
                                                              {"tcp_ports", "TCP ports"},
                                                              {"udp_ports", "UDP ports"},
                                                              {"ipv6_traffic", "IPv6 conversations"},
                                                              {"ipv6_tcp_ports", "TCP ports of IPv6"},
                                                              {"ipv6_udp_ports", "UDP ports of IPv6"},
                                                              {"vlans", "VLANs"},
                                                              {"inner_vlans", "inner VLANs"},
                                                              {"tunnels", "tunnels"}};
    auto const found = titles.find(table.key);
    return found == titles.end() ? escaped(table.name) : found->second;
}

// Only some ports have rows, so that traffic of others can be all there is.
std::string rangeOf(CTableFigures const & table)
{
    return table.key == "tcp_ports"   ? " within --tcp-ports"
           : table.key == "udp_ports" ? " within --udp-ports"
                                      : "";
}

// Of fixed rows none may have counted anything.
bool sawNothing(CPicture const & picture, CTableFigures const & table)
{
    CTableFigures const * const filled = picture.filled(table.key);
    return !filled ||
           (table.limit == 0 && std::all_of(table.rows.begin(), table.rows.end(),
                                            [](CRowFigures const & row) { return row.totalFrames() == 0; }));
}

std::string absenceText(CPicture const & picture)
{
    std::vector<std::string> off;
    std::vector<std::string> empty;
    for (CTableFigures const & table : picture.figures.tables)
        if (!table.counted)
            off.push_back(fmt::format("{} ({})", titleOf(picture, table), escaped(table.oid)));
        else if (sawNothing(picture, table) && picture.figures.frames.value_or(0) > 0 &&
                 (picture.style.selected || !table.oid.starts_with("2.")))
            empty.push_back(titleOf(picture, table) + rangeOf(table));
    auto const & signals = picture.figures.signals;
    if (picture.style.signalsChosen && !signals.empty()) {
        auto const each = [&](auto const & test) {
            return std::all_of(signals.begin(), signals.end(), test);
        };
        if (each([](CSignalFigure const & signal) { return !signal.count; }))
            off.emplace_back("signals (2.6)");
        else if (picture.style.selected &&
                 each([](CSignalFigure const & signal) { return signal.count.value_or(0) == 0; }))
            empty.emplace_back("signals");
    }
    std::string text;
    if (!empty.empty())
        text += wrapped("Nothing was seen of: ", listed(empty), picture.style.width);
    if (!off.empty())
        text += wrapped("Not counted: ", listed(off), picture.style.width);
    if (!off.empty() && picture.figures.source.linkType != "ethernet")
        text += wrapped(
            "",
            fmt::format(
                "Frames of {} don't tell the addresses of both ends, by which stations and "
                "MAC conversations are counted, and VLAN tags in front of their packets aren't counted.",
                escaped(picture.figures.source.linkType)),
            picture.style.width);
    return text;
}

} // namespace

std::string headingText(CPicture const & picture)
{
    CFigures const & figures = picture.figures;
    CRateFigures const average = figures.averages();
    std::optional<double> const seconds = figures.durationSeconds();
    std::string text = sourceName(figures.source) + '\n';
    if (figures.zero || figures.time) {
        text += fact("From", momentText(figures.zero));
        text +=
            fact("To", momentText(figures.time) + (seconds ? ", " + durationText(*seconds) + " later" : ""));
    }
    auto const onAverage = [](std::string const & rate) {
        return rate == "-" ? "" : "   " + rate + " on average";
    };
    text += fact("Frames", fmt::format("{:<9}", picture.quantity(figures.frames)) +
                               onAverage(frameRateText(average.framesPerSecond)));
    text += fact("Bytes", fmt::format("{:<9}", picture.quantity(figures.bytes)) +
                              onAverage(bitRateText(average.bitsPerSecond)));
    return text + linkFacts(figures) + captureFacts(picture) + filterFacts(picture);
}

std::string errorsText(CPicture const & picture)
{
    std::string text;
    for (CErrorFigure const & error : picture.figures.errors)
        if (error.count.value_or(0) > 0)
            text += fmt::format("  {:<22} {:>8}\n", escaped(error.name), picture.quantity(error.count));
    return text.empty() ? "" : "Errors\n" + text;
}

// Those that there were any of.
std::string signalsText(CPicture const & picture)
{
    std::string text;
    for (CSignalFigure const & signal : picture.figures.signals)
        if (signal.count.value_or(0) > 0)
            text += fmt::format("  {:<23} {:>8}\n", escaped(signal.name), picture.quantity(signal.count));
    return text.empty() || (picture.style.selected && !picture.style.signalsChosen) ? "" : "Signals\n" + text;
}

std::string reportText(CFigures const & figures, CReportStyle const & style, CNames const & names)
{
    CPicture const picture(figures, style, names);
    std::string text = headingText(picture);
    auto const add = [&](std::string const & part) {
        if (!part.empty())
            text += '\n' + part;
    };
    if (figures.frames == 0U) {
        add("No frame was counted.\n");
    } else {
        if (!style.selected)
            add(notableText(picture));
        add(protocolsText(picture));
        add(conversationsText(picture, {"ip_traffic", "ipv6_traffic"}, "IP conversations"));
        add(stationsText(picture));
        add(conversationsText(picture, {"mac_traffic"}, "MAC conversations"));
        add(portsText(picture));
        add(bindingsText(picture));
        add(vlansText(picture, "vlans", "VLANs"));
        add(vlansText(picture, "inner_vlans", "Inner VLANs"));
        add(tunnelsText(picture));
        add(signalsText(picture));
        add(frameTableText(picture, "frame_sizes", "Frame sizes"));
        add(frameTableText(picture, "frame_types", "Frame types"));
    }
    add(errorsText(picture));
    add(absenceText(picture));
    return text;
}

} // namespace ketmon
