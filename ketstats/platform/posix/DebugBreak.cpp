#include "ketstats/platform/DebugBreak.h"

#include <csignal>

namespace KetStats::platform {

void debugBreak()
{
    std::raise(SIGTRAP);
}

} // namespace KetStats::platform
