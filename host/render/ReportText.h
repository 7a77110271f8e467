#pragma once

#include "host/render/Figures.h"
#include "host/render/Names.h"

#include <string>

namespace ketmon {

struct CReportStyle
{
    static constexpr unsigned int leastWidth = 80;
    static constexpr unsigned int mostWidth = 160;

    unsigned int width = leastWidth; // of a line; what doesn't matter most goes where it is narrow
    unsigned int top = 10;           // rows of a table, the busiest; 0 for all
    std::string sort;                // a column as in JSON, such as "frames"; "bytes" if empty
    bool exact = false;              // all digits
    bool ascii = false;              // for terminals that can't show more
    bool selected = false;           // the figures hold what was asked for, and nothing but that is told
    bool signalsChosen = true;       // the signals are asked for, too
};

// What was going on, for a person who asks: from when to when and how much, what is notable, and then the
// tables, the busiest rows first. Depends on nothing but its arguments. docs/report.md explains all of it.
std::string reportText(CFigures const & figures, CReportStyle const & style, CNames const & names);

} // namespace ketmon
