#pragma once

#include "ketstats/ketstats.h"

#include <CLI/CLI.hpp>

#include <string>

namespace ketmon {

// How statistics are printed, for all commands that do.
struct CReportOptions
{
    bool json = false;
    unsigned int top = 20;
};

// The options --json and --top.
void addReportOptions(CLI::App & command, CReportOptions & options);

// The statistics of `frames` frames as tables under a line that starts with `title`, or as one JSON object.
std::string report(CReportOptions const & options, std::string const & title, unsigned long long frames,
                   KetStats::CBaseStat const & statistics);

} // namespace ketmon
