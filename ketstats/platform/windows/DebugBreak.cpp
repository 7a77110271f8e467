#include "ketstats/platform/DebugBreak.h"

#include "ketstats/platform/SystemTypes.h"

namespace KetStats::platform {

void debugBreak()
{
    DebugBreak();
}

} // namespace KetStats::platform
