#pragma once

#include "host/render/Report.h"
#include "host/wire/Selection.h"

#include <string>
#include <vector>

namespace ketmon {

// Which statistics the option --select names: tables by the names that they have in JSON, groups ("totals",
// "errors", "filter", "frame_tables", "ports"), or identifiers of anything but rows. Throws CFailure, exit
// code 2, for what is none, with the names that are.
CSelection parsedChoice(std::vector<std::string> const & names);

// The table that an identifier names, by its name in JSON; empty if it names none.
std::string tableKey(KetStats::COid const & oid);

// Whether the signals are among what --select names, as they are without it.
bool choosesSignals(CReportOptions const & options);

// Throws CFailure, exit code 2, unless --sort names a column of one of the tables chosen.
void checkSorting(CReportOptions const & options);

// Figures with the chosen tables alone, and with their rows sorted where --sort is given. They aren't cut to
// --top, so that whoever shows them can tell what is left out.
CFigures chosen(CFigures figures, CReportOptions const & options);

} // namespace ketmon
