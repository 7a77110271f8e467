#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace KetStats::platform {

// Between the parts of a path.
inline constexpr char pathSeparator = '\\';

} // namespace KetStats::platform
