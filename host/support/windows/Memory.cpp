#include "host/support/Memory.h"

#include <windows.h>

#include <malloc.h>

#include <psapi.h>

namespace ketmon {

// The call is one of the system's main library, which every program has already; under its older name it
// would need another one.
std::optional<std::size_t> residentMemory()
{
    using Call = BOOL(WINAPI *)(HANDLE, PROCESS_MEMORY_COUNTERS *, DWORD);
    static auto const call = reinterpret_cast<Call>(reinterpret_cast<void *>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "K32GetProcessMemoryInfo")));
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    if (!call || !call(GetCurrentProcess(), &counters, sizeof counters))
        return {};
    return counters.WorkingSetSize;
}

void returnFreeMemory()
{
    static_cast<void>(_heapmin());
}

} // namespace ketmon
