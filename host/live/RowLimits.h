#pragma once

#include "ketstats/ketstats.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// How many rows a table keeps unless it is said, and what they cost when all tables are full; they take memory
// only as they come.
inline constexpr unsigned int rowsOfFiles = 16384;
inline constexpr unsigned int rowsOfAgents = 4096;
inline constexpr char costOfFiles[] = "670 MB when all tables are full";
inline constexpr char costOfAgents[] = "34 MB when all tables are full, and 11 MB for each console";

// The option --rows.
struct CRowOptions
{
    std::vector<std::string> given;   // "TABLE=N", "all=N" or "standard", of which later ones win
    unsigned int usual = rowsOfFiles; // rows of each table
    std::string cost = costOfFiles;   // of that
};

void addRowsOption(CLI::App & command, CRowOptions & options);

// What the tables may hold by that. The port tables of stations, of which each station has two, stay as they
// are in the library unless they are named. Throws CFailure, exit code 2, for tables and numbers that are none.
KetStats::CTableLimits tableLimits(CRowOptions const & options);

} // namespace ketmon
