#pragma once

#include "ketstats/platform/Exports.h"
#include "ketstats/platform/SystemTypes.h"

// The system's loader, as far as the library speaks with it.
namespace KetStats::platform {

// The longest path that is worked with, the terminating zero included.
constexpr unsigned int maximumPath = 260;

// Writes the zero-terminated path of the file of `module` to `path`. Gives the number of characters written,
// `size` if the path was cut off, 0 for a failure.
unsigned int moduleFileName(HMODULE module, char * path, unsigned int size);

// Loads the module at `path`; null if that can't be done.
HMODULE loadModule(char const * path);

// What is known of a library about to be loaded late.
struct DelayLoadInfo
{
    char const * libraryName;
};
using DelayLoadHook = FARPROC (*)(unsigned int notification, DelayLoadInfo const * info);

// Notification that precedes the loading of a library.
constexpr unsigned int beforeLoadLibrary = 1;

// Installs the function that is asked where a late-bound library lies. A system that binds libraries when the
// program starts has no use for it and leaves it alone.
void installDelayLoadHook(DelayLoadHook hook);

// Takes the hook out again and unloads what was bound late; a later call binds anew.
KETSTATS_API void unloadDelayLoaded();

// Runs `attach` once with the handle of this library's own module: after every static object that stands in
// front of this one in its source was built, and before any caller can reach the library.
class CAttachAtLoad
{
public:
    explicit CAttachAtLoad(void (*attach)(HMODULE));
};

} // namespace KetStats::platform
