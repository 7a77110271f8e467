#include "host/render/Report.h"

#include "host/render/JsonTree.h"
#include "host/render/TextTree.h"
#include "host/support/OptionChecks.h"

#include <fmt/core.h>

namespace ketmon {

void addReportOptions(CLI::App & command, CReportOptions & options)
{
    command.add_flag("--json", options.json, "Print one JSON object instead of tables");
    command
        .add_option("--top", options.top, "How many rows of a table to print, the busiest first; 0 for all")
        ->check(notEmpty())
        ->capture_default_str()
        ->type_name("N");
    addValueTextOptions(command, options.values);
}

CReport::CReport(CReportOptions const & options)
    : m_options(options),
      m_values(options.values.multiplier.value_or(options.json ? Multiplying::none : Multiplying::binary),
               options.values.precision)
{}

std::string CReport::text(KetStats::CBaseStat const & stat) const
{
    return toText(stat, m_options.top, m_values);
}

nlohmann::ordered_json CReport::json(KetStats::CBaseStat const & stat) const
{
    return toJson(stat, m_options.values.given() ? &m_values : nullptr);
}

std::string CReport::whole(std::string const & title, unsigned long long frames,
                           KetStats::CBaseStat const & statistics) const
{
    if (!m_options.json)
        return fmt::format("{}: {} frames\n\n{}", title, frames, text(statistics));
    nlohmann::ordered_json document;
    document["frames"] = frames;
    document["statistics"] = json(statistics);
    return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

} // namespace ketmon
