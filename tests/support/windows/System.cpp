#include "tests/support/System.h"

#include <windows.h>

#include <psapi.h>

namespace test {

bool stoppedByADebugBreak(int status)
{
    return static_cast<DWORD>(status) == EXCEPTION_BREAKPOINT;
}

long residentMegabytes()
{
    PROCESS_MEMORY_COUNTERS counters{};
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters))
        return 0;
    return static_cast<long>(counters.WorkingSetSize >> 20);
}

} // namespace test
