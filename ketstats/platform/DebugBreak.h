#pragma once

namespace KetStats::platform {

// Stops in the debugger; without one it ends the program.
void debugBreak();

} // namespace KetStats::platform
