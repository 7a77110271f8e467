#pragma once

#include "ketstats/platform/Exports.h"
#include "ketstats/platform/SystemTypes.h"

// The system's loader, as far as the library speaks with it.
namespace KetStats::platform {

// The longest path that is worked with, the terminating zero included.
constexpr unsigned int maximumPath = 260;

// Writes the zero-terminated path of the file of `module` to `path`. Gives the number of characters written,
// `size` if the path was cut off, 0 for a failure.
KETSTATS_API unsigned int moduleFileName(HMODULE module, char * path, unsigned int size);

// What is known of a library about to be loaded late.
struct DelayLoadInfo
{
    char const * libraryName;
};
using DelayLoadHook = FARPROC (*)(unsigned int notification, DelayLoadInfo const * info);

// Notification that precedes the loading of a library.
constexpr unsigned int beforeLoadLibrary = 1;

// Takes the hook out again and unloads what was bound late; a later call binds anew.
KETSTATS_API void unloadDelayLoaded();

} // namespace KetStats::platform
