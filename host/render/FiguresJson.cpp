#include "host/render/FiguresJson.h"

#include "host/render/Columns.h"
#include "host/render/TableChoice.h"
#include "host/support/Escaped.h"
#include "host/support/TimeText.h"

#include <cmath>

namespace ketmon {

using nlohmann::ordered_json;

namespace {

constexpr char const * busiest = "frames"; // the column by which --top picks rows

template <class T>
ordered_json known(std::optional<T> const & value)
{
    return value ? ordered_json(*value) : ordered_json();
}

ordered_json moment(CMoment const & ticks)
{
    return ticks ? known(timeText(*ticks)) : ordered_json();
}

char const * kindOf(CSourceFigures::Kind kind)
{
    switch (kind) {
    case CSourceFigures::Kind::interface:
        return "interface";
    case CSourceFigures::Kind::agent:
        return "agent";
    default:
        return "file";
    }
}

ordered_json rates(CRateFigures const & figures)
{
    return {{"frames_per_second", known(figures.framesPerSecond)},
            {"bits_per_second", known(figures.bitsPerSecond)}};
}

ordered_json sourceJson(CSourceFigures const & source)
{
    return {{"kind", kindOf(source.kind)},
            {"name", validUtf8(source.name)},
            {"agent", source.agent ? ordered_json(validUtf8(*source.agent)) : ordered_json()},
            {"link_type", validUtf8(source.linkType)},
            {"link_bits_per_second", known(source.linkBitsPerSecond)}};
}

ordered_json totalsJson(CFigures const & figures)
{
    return {{"frames", known(figures.frames)},
            {"bytes", known(figures.bytes)},
            {"utilisation",
             {{"current", known(figures.utilisationCurrent)},
              {"average", known(figures.utilisationAverage)},
              {"peak", known(figures.utilisationPeak)}}}};
}

ordered_json errorsJson(CFigures const & figures)
{
    ordered_json errors = ordered_json::object();
    for (CErrorFigure const & error : figures.errors)
        errors[error.key] = known(error.count);
    errors["accuracy"] = known(figures.accuracy);
    return errors;
}

// Null where they aren't counted.
ordered_json signalsJson(CFigures const & figures)
{
    ordered_json signals;
    for (CSignalFigure const & signal : figures.signals)
        if (signal.count)
            signals[signal.key] = *signal.count;
    return signals;
}

ordered_json givenUpJson(std::optional<CGivenUp> const & givenUp)
{
    if (!givenUp)
        return {};
    ordered_json json{{"rows", givenUp->rows}};
    auto const add = [&](char const * key, CCount const & count) {
        if (count)
            json[key] = *count;
    };
    add("frames", givenUp->frames);
    add("bytes", givenUp->bytes);
    add("frames_sent", givenUp->framesSent);
    add("bytes_sent", givenUp->bytesSent);
    add("frames_received", givenUp->framesReceived);
    add("bytes_received", givenUp->bytesReceived);
    return json;
}

ordered_json rowsJson(std::vector<CRowFigures> rows, std::string const & key, bool portsCounted,
                      CReportOptions const & options)
{
    if (options.top.value_or(0) > 0) {
        // Whoever sorts them has done so already.
        if (options.sort.empty())
            sortRows(rows, key, busiest);
        rows.resize(std::min<std::size_t>(rows.size(), *options.top));
    }
    ordered_json array = ordered_json::array();
    for (CRowFigures & row : rows) {
        ordered_json object{{"oid", row.oid}};
        for (CColumn const & column : tableColumns(key))
            if (column.use == CColumn::Use::shown)
                object[column.key] = column.value(row);
        if (key != "arp" && key != "neighbours")
            object["rate"] = rateOf(row, key);
        if (row.others)
            object["others"] = true;
        if (key == "stations") {
            auto const ports = [&](std::vector<CRowFigures> & all) {
                return portsCounted ? rowsJson(std::move(all), "ports", false, {}) : ordered_json();
            };
            object["tcp_ports"] = ports(row.tcpPorts);
            object["udp_ports"] = ports(row.udpPorts);
        }
        array.push_back(std::move(object));
    }
    return array;
}

ordered_json tableJson(CTableFigures const & table, CReportOptions const & options)
{
    ordered_json json{{"oid", table.oid}, {"name", table.name}, {"zero", moment(table.zero)}};
    bool const fixed = table.limit == 0;
    if (!fixed)
        json["limit"] = table.limit;
    json["row_count"] = table.counted ? ordered_json(table.rows.size()) : ordered_json();
    json["rows"] =
        table.counted ? rowsJson(table.rows, table.key, table.portsCounted, options) : ordered_json();
    if (!fixed)
        json["given_up"] = givenUpJson(table.givenUp);
    if (table.key == "stations") {
        json["ports_zero"] = moment(table.portsZero);
        json["tcp_port_limit"] = table.tcpPortLimit;
        json["udp_port_limit"] = table.udpPortLimit;
        json["tcp_ports_given_up"] = givenUpJson(table.tcpPortsGivenUp);
        json["udp_ports_given_up"] = givenUpJson(table.udpPortsGivenUp);
    }
    return json;
}

std::string dumped(ordered_json const & document, int indent)
{
    return document.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

} // namespace

ordered_json figuresJson(CFigures const & all, CReportOptions const & options)
{
    CFigures const figures = chosen(all, options);
    ordered_json document{{"format", "ketmon/2"}};
    document["source"] = sourceJson(figures.source);
    document["zero"] = moment(figures.zero);
    document["time"] = moment(figures.time);
    document["duration_seconds"] = known(figures.durationSeconds());
    document["interval_seconds"] = known(figures.intervalSeconds);
    document["sample"] = known(figures.sample);
    document["totals"] = totalsJson(figures);
    document["averages"] = rates(figures.averages());
    document["rates"] = rates(figures.rates);
    document["capture"] = {{"received", known(figures.received)},
                           {"dropped_by_kernel", known(figures.droppedByKernel)},
                           {"dropped_by_interface", known(figures.droppedByInterface)}};
    document["errors"] = errorsJson(figures);
    document["filter"] = {{"filtered", known(figures.filtered)},
                          {"accepted", known(figures.accepted)},
                          {"rejected", known(figures.rejected)}};
    document["signals"] = signalsJson(figures);
    ordered_json tables = ordered_json::object();
    for (CTableFigures const & table : figures.tables)
        tables[table.key] = tableJson(table, options);
    document["tables"] = std::move(tables);
    return document;
}

std::string documentText(ordered_json const & document)
{
    return dumped(document, 2);
}

std::string lineText(ordered_json const & document)
{
    return dumped(document, -1);
}

} // namespace ketmon
