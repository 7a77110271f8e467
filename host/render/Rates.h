#pragma once

#include "host/render/Figures.h"

namespace ketmon {

// Fills in the rates of `now` from what counted on since `before`, over the interval that `now` has. They
// stay unknown without an interval, and where a count went back, as that of a row that was given up meanwhile
// and came again.
void addRates(CFigures & now, CFigures const & before);

} // namespace ketmon
