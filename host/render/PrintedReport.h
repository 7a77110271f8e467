#pragma once

#include "host/render/Figures.h"
#include "host/render/Report.h"

#include <string>

namespace ketmon {

// The report as it is printed to the standard output: as wide as the terminal, or as the variable COLUMNS says,
// between 80 and 160 columns, and 100 where neither tells; with the names that this machine has. Asks the DNS
// where the options say so, and is through with that when a SIGINT comes.
std::string printedReport(CReportOptions const & options, CFigures const & figures);

} // namespace ketmon
