#include "ketstats/platform/Loader.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace KetStats::platform {

unsigned int moduleFileName(HMODULE module, char * path, unsigned int size)
{
    Dl_info info{};
    if (size == 0 || dladdr(module, &info) == 0 || !info.dli_fname)
        return 0;
    // The linker tells the name under which the module was loaded, which can be relative.
    std::unique_ptr<char, decltype(&std::free)> const resolved(realpath(info.dli_fname, nullptr), &std::free);
    char const * const name = resolved ? resolved.get() : info.dli_fname;
    std::size_t const length = std::strlen(name);
    bool const cut = length >= size;
    std::memcpy(path, name, cut ? size - 1 : length);
    path[cut ? size - 1 : length] = '\0';
    return cut ? size : static_cast<unsigned int>(length);
}

HMODULE loadModule(char const * path)
{
    return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

// The dynamic linker finds the capture library through the run path of this one.
void installDelayLoadHook(DelayLoadHook /*hook*/) {}

void unloadDelayLoaded() {}

CAttachAtLoad::CAttachAtLoad(void (*attach)(HMODULE))
{
    Dl_info info{};
    dladdr(reinterpret_cast<void const *>(&moduleFileName), &info);
    attach(info.dli_fbase);
}

} // namespace KetStats::platform
