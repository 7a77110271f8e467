#include "host/render/Report.h"

#include "host/render/FiguresJson.h"
#include "host/render/HostNames.h"
#include "host/render/JsonTree.h"
#include "host/render/PrintedReport.h"
#include "host/render/TableChoice.h"
#include "host/render/TextTree.h"
#include "host/support/Escaped.h"
#include "host/support/Failure.h"
#include "host/support/OptionChecks.h"

#include <fmt/core.h>

namespace ketmon {

void addReportOptions(CLI::App & command, CReportOptions & options)
{
    command.add_flag("--json", options.json, "Print one JSON object instead of tables");
    command.add_flag(
        "--tree", options.tree,
        "Print the whole tree as it lies, every group and column by its description; with --json "
        "as one JSON object by these names");
    command
        .add_option("--select", options.select,
                    "Table to show, by its name in JSON such as ip_traffic or by an identifier such as 1.8; "
                    "may be given again. All unless given")
        ->allow_extra_args(false)
        ->check(notEmpty())
        ->type_name("TABLE");
    command
        .add_option("--sort", options.sort,
                    "Sort the rows of tables by this column, as it is called in JSON: numbers from the "
                    "greatest, texts and addresses from the first. The busiest rows come first unless given")
        ->check(notEmpty())
        ->type_name("COLUMN");
    command
        .add_option(
            "--top", options.top,
            fmt::format("How many rows of a table to print, the busiest first; 0 for all. {} in a report "
                        "and {} in a tree unless given; JSON has all",
                        CReportOptions::reportTop, CReportOptions::usualTop))
        ->check(notEmpty())
        ->type_name("N");
    command.add_flag("-n,--numeric", options.numeric, "Only numbers, without the names that they stand for");
    command.add_flag("--exact", options.exact, "Write all digits of large numbers");
    addValueTextOptions(command, options.values);
}

void addHostNameOption(CLI::App & command, CReportOptions & options)
{
    options.hasReport = true;
    command.add_flag("--dns", options.dns,
                     "Ask the DNS for the names of the hosts that the report shows, for 5 seconds at most");
}

void check(CReportOptions const & options)
{
    static_cast<void>(parsedChoice(options.select));
    checkSorting(options);
    if (options.json && !options.tree && options.values.given())
        throw CFailure(exitBadInput, "--multiplier and --precision write texts; --json has numbers, and only "
                                     "that of --tree takes them");
    if (options.hasReport && !options.json && !options.tree && options.values.given())
        throw CFailure(exitBadInput, "--multiplier and --precision are for --tree; the report has --exact");
    if (options.dns && options.numeric)
        throw CFailure(exitBadInput, "--dns asks for names, and --numeric leaves them out");
    if (options.dns && (options.json || options.tree))
        throw CFailure(exitBadInput, "--dns names hosts in the report, which --json and --tree don't print");
    if (options.dns && hostNameResolver().empty())
        throw CFailure(exitBadInput, "--dns: this ketmon was built without c-ares, which asks the DNS");
}

CReport::CReport(CReportOptions const & options)
    : m_options(options),
      m_choice(parsedChoice(options.select)),
      m_values(options.values.multiplier.value_or(options.json || options.exact ? Multiplying::none
                                                                                : Multiplying::binary),
               options.values.precision)
{}

std::string CReport::text(KetStats::CBaseStat const & stat) const
{
    return toText(stat, CTreeRows{m_options.sort, m_options.rows(), true}, m_values);
}

nlohmann::ordered_json CReport::json(KetStats::CBaseStat const & stat) const
{
    return toJson(stat, m_options.values.given() ? &m_values : nullptr,
                  CTreeRows{m_options.sort, m_options.top.value_or(0)});
}

std::string CReport::chosenText(KetStats::CBaseStat const & root, KetStats::CBaseStat const * extended) const
{
    std::string result;
    for (KetStats::COid const & oid : m_choice.oids()) {
        KetStats::CBaseStat const * stat = oid[0] == root.getId() ? &root : extended;
        if (!stat)
            continue;
        for (unsigned int level = 1; level < oid.length(); ++level)
            stat = stat->getChildById(oid[level]);
        result += text(*stat);
    }
    return result;
}

// Below a group that isn't chosen whole.
nlohmann::ordered_json CReport::chosenJson(KetStats::CBaseStat const & stat, KetStats::COid const & oid) const
{
    if (m_choice.covers(oid))
        return json(stat);
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
    for (unsigned int index = 0; index < stat.getChildrenCount(); ++index) {
        KetStats::CBaseStat const & child = *stat.getChild(index);
        KetStats::COid const below(fmt::format("{}.{}", oid.toString(), child.getId()));
        if (m_choice.touches(below))
            object[child.getDescription()->getStringDescription()] = chosenJson(child, below);
    }
    return object;
}

std::string CReport::whole(std::string const & title, unsigned long long frames,
                           KetStats::CBaseStat const & statistics, KetStats::CBaseStat const * extended) const
{
    if (!m_options.json)
        return fmt::format("{}: {} frames\n\n{}", escaped(title), frames, chosenText(statistics, extended));
    nlohmann::ordered_json document;
    document["frames"] = frames;
    document["statistics"] = chosenJson(statistics, statistics.getOid());
    if (extended && chooses(extended->getOid()))
        document["extended"] = chosenJson(*extended, extended->getOid());
    return documentText(document);
}

std::string output(CReportOptions const & options, CFigures const & figures,
                   KetStats::CAgentStatistic const & tree, KetStats::CExtendedStatistic const * extended,
                   unsigned long long frames)
{
    if (options.json && !options.tree)
        return documentText(figuresJson(figures, options));
    if (!options.tree)
        return printedReport(options, figures);
    return CReport(options).whole(figures.source.name, frames, tree, extended);
}

} // namespace ketmon
