#include "host/render/TableChoice.h"

#include "host/render/Columns.h"
#include "host/render/SampleFacts.h"
#include "host/support/Escaped.h"
#include "host/support/Failure.h"

#include <fmt/core.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>

namespace ketmon {

using KetStats::CAgentStatistic;

namespace {

constexpr std::size_t longestName = 64;

// Identifiers by name.
std::map<std::string, std::string> const & knownNames()
{
    static std::map<std::string, std::string> const names = [] {
        CAgentStatistic const tree;
        std::map<std::string, std::string> all{
            {"totals", tree.globalStatistics.getOid().toString()},
            {"errors", tree.globalErrors.getOid().toString()},
            {"filter", tree.globalFilter.getOid().toString()},
            {"frame_tables", tree.frameTables.getOid().toString()},
            {"ports", tree.ipPorts.getOid().toString()},
            {"ipv6_ports", KetStats::CExtendedStatistic().ipv6Ports.getOid().toString()},
            {"signals", KetStats::CExtendedStatistic().signals.getOid().toString()},
        };
        for (CTableFigures const & table : figuresOf(tree, {}).tables)
            all.emplace(table.key, table.oid);
        return all;
    }();
    return names;
}

} // namespace

std::string tableKey(KetStats::COid const & oid)
{
    std::string const text = oid.toString();
    for (std::string const & key : tableKeys())
        if (knownNames().at(key) == text)
            return key;
    return {};
}

CSelection parsedChoice(std::vector<std::string> const & names)
{
    std::vector<std::string> oids;
    for (std::string const & name : names) {
        auto const known = knownNames().find(name);
        bool const number = !name.empty() && name.find_first_not_of("0123456789.") == name.npos;
        if (known == knownNames().end() && !number)
            throw CFailure(
                exitBadInput,
                fmt::format("--select: '{}' is no table; there are {}, and identifiers such as 1.5",
                            escaped(name.substr(0, longestName)), fmt::join(tableKeys(), ", ")));
        oids.push_back(known == knownNames().end() ? name : known->second);
    }
    try {
        return CSelection(oids);
    } catch (CBadSelection const & error) {
        throw CFailure(exitBadInput, fmt::format("--select: {}", error.what()));
    }
}

bool choosesSignals(CReportOptions const & options)
{
    return options.select.empty() || parsedChoice(options.select).touches(knownNames().at("signals"));
}

void checkSorting(CReportOptions const & options)
{
    if (options.sort.empty())
        return;
    CSelection const choice = parsedChoice(options.select);
    std::vector<std::string> valid;
    for (std::string const & table : tableKeys()) {
        if (!choice.touches(knownNames().at(table)))
            continue;
        if (hasColumn(table, options.sort))
            return;
        for (CColumn const & column : tableColumns(table))
            if (std::find(valid.begin(), valid.end(), column.key) == valid.end())
                valid.emplace_back(column.key);
    }
    throw CFailure(exitBadInput,
                   fmt::format("--sort: '{}' is no column of {}; there are {}",
                               escaped(options.sort.substr(0, longestName)),
                               options.select.empty() ? "any table" : "the tables selected",
                               valid.empty() ? "none" : fmt::format("{}", fmt::join(valid, ", "))));
}

CFigures chosen(CFigures figures, CReportOptions const & options)
{
    if (!options.select.empty()) {
        CSelection const choice = parsedChoice(options.select);
        std::erase_if(figures.tables,
                      [&](CTableFigures const & table) { return !choice.touches(table.oid); });
    }
    if (!options.sort.empty())
        for (CTableFigures & table : figures.tables)
            sortRows(table.rows, table.key, options.sort);
    return figures;
}

} // namespace ketmon
