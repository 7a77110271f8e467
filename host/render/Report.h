#pragma once

#include "host/render/ValueText.h"

#include "ketstats/ketstats.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <string>

namespace ketmon {

// How statistics are printed, for all commands that do.
struct CReportOptions
{
    bool json = false;
    unsigned int top = 20;
    CValueTextOptions values;
};

// The options --json, --top, --multiplier and --precision.
void addReportOptions(CLI::App & command, CReportOptions & options);

// Prints statistics as the options ask for it. Tables have the binary multipliers unless others are asked
// for; JSON has plain numbers, unless multiplier or precision are, which make texts of them.
class CReport
{
public:
    explicit CReport(CReportOptions const & options);

    bool isJson() const { return m_options.json; }

    // A statistic with all below it.
    std::string text(KetStats::CBaseStat const & stat) const;
    nlohmann::ordered_json json(KetStats::CBaseStat const & stat) const;

    // The statistics of `frames` frames as tables under a line that starts with `title`, or as one JSON
    // object.
    std::string whole(std::string const & title, unsigned long long frames,
                      KetStats::CBaseStat const & statistics) const;

private:
    CReportOptions m_options;
    CValueText m_values;
};

} // namespace ketmon
