#pragma once

#include "host/live/AnalysisOptions.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// `ketmon filter FILE... OID`: the capture filter of a statistic, and the frames that it selects.
struct CFilterOptions
{
    std::vector<std::string> files;
    std::string oid;
    std::string output; // a capture file for the frames; none if empty
    bool frames = false;
    bool quiet = false;
    CAnalysisOptions analysis;
};

void addFilterCommand(CLI::App & app);

// Throws CFailure.
void printFilter(CFilterOptions const & options);

} // namespace ketmon
