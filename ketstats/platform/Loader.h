#pragma once

#include "ketstats/platform/Module.h"

// How the library itself is loaded, and loads others.
namespace KetStats::platform {

// Loads the module at `path`; null if that can't be done.
HMODULE loadModule(char const * path);

// Installs the function that is asked where a late-bound library lies. A system that binds libraries when the
// program starts has no use for it and leaves it alone.
void installDelayLoadHook(DelayLoadHook hook);

// Runs `attach` once with the handle of this library's own module: after every static object that stands in
// front of this one in its source was built, and before any caller can reach the library.
class CAttachAtLoad
{
public:
    explicit CAttachAtLoad(void (*attach)(HMODULE));
};

} // namespace KetStats::platform
