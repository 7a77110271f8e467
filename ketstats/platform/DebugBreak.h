#pragma once

#include "ketstats/platform/Exports.h"

namespace KetStats::platform {

// Stops in the debugger; without one it ends the program.
KETSTATS_API void debugBreak();

} // namespace KetStats::platform
