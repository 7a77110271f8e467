#include "host/Report.h"

#include "host/JsonTree.h"
#include "host/TextTree.h"

#include <fmt/core.h>

namespace ketmon {

void addReportOptions(CLI::App & command, CReportOptions & options)
{
    command.add_flag("--json", options.json, "Print one JSON object instead of tables");
    command
        .add_option("--top", options.top, "How many rows of a table to print, the busiest first; 0 for all")
        ->capture_default_str()
        ->type_name("N");
}

std::string report(CReportOptions const & options, std::string const & title, unsigned long long frames,
                   KetStats::CBaseStat const & statistics)
{
    if (!options.json)
        return fmt::format("{}: {} frames\n\n{}", title, frames, toText(statistics, options.top));
    nlohmann::ordered_json document;
    document["frames"] = frames;
    document["statistics"] = toJson(statistics);
    return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

} // namespace ketmon
