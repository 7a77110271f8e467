#pragma once

#include "host/render/Figures.h"
#include "host/render/Report.h"

#include <nlohmann/json.hpp>

#include <string>

namespace ketmon {

// The figures of one sample as docs/json.md tells. Tables have their rows oldest first, unless --sort or
// --top have the first ones in front; all of them unless --top says how many. The figures are those of all
// tables: the options choose from them here.
nlohmann::ordered_json figuresJson(CFigures const & figures, CReportOptions const & options);

// A document as text, with a line end behind it: over several lines, or on one as in a row of samples.
std::string documentText(nlohmann::ordered_json const & document);
std::string lineText(nlohmann::ordered_json const & document);

} // namespace ketmon
