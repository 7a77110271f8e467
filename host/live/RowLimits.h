#pragma once

#include "ketstats/ketstats.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// How many rows a table keeps unless it is said. Rows take memory only as they come; README and manual tell how
// much.
inline constexpr unsigned int rowsOfFiles = 16384;
inline constexpr unsigned int rowsOfAgents = 4096;

// The option --rows.
struct CRowOptions
{
    std::vector<std::string> given;   // "TABLE=N", "all=N" or "standard", of which later ones win
    unsigned int usual = rowsOfFiles; // 0 for the library's own limits
};

void addRowsOption(CLI::App & command, CRowOptions & options);

// What the tables may hold by that. The port tables of stations, of which each station has two, stay as they
// are in the library unless they are named. Throws CFailure, exit code 2, for tables and numbers that are none.
KetStats::CTableLimits tableLimits(CRowOptions const & options);

} // namespace ketmon
