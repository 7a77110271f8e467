#pragma once

// Broken-down UTC with a resolution of one millisecond.
struct _SYSTEMTIME
{
    unsigned short wYear;
    unsigned short wMonth;     // 1 to 12
    unsigned short wDayOfWeek; // 0 is Sunday
    unsigned short wDay;       // 1 to 31
    unsigned short wHour;
    unsigned short wMinute;
    unsigned short wSecond;
    unsigned short wMilliseconds;
};
using SYSTEMTIME = _SYSTEMTIME;

// A loaded module: what the dynamic linker gives for it.
using HMODULE = void *;

// The address of a function found in a module.
using FARPROC = void (*)();

namespace KetStats::platform {

// Between the parts of a path.
inline constexpr char pathSeparator = '/';

} // namespace KetStats::platform
