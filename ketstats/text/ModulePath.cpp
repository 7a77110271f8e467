#include "ketstats/text/ModulePath.h"

#include "ketstats/platform/Loader.h"

#include <cstdlib>
#include <cstring>

namespace KetStats {

namespace {

CModulePath modulePath;
bool modulePathDone = false;

} // namespace

bool CModulePath::init(HMODULE module, FileNameOf fileNameOf)
{
    unsigned int const length = fileNameOf(module, m_directory, platform::maximumPath);
    if (length == 0 || length == platform::maximumPath) {
        m_directory[0] = '\0';
        return false;
    }
    // A name without any directory leaves the empty directory.
    char * const last = std::strrchr(m_directory, platform::pathSeparator);
    *(last ? last + 1 : m_directory) = '\0';
    return true;
}

bool CModulePath::locate(char const * libraryName, char * path) const
{
    std::size_t const length = std::strlen(m_directory);
    if (std::strlen(libraryName) + length + 1 > platform::maximumPath)
        return false;
    std::memcpy(path, m_directory, length);
    std::strcpy(path + length, libraryName);
    return true;
}

void initModulePath(HMODULE module)
{
    if (modulePathDone)
        return;
    modulePathDone = true;
    if (modulePath.init(module))
        platform::installDelayLoadHook(&delayLoadHook);
    std::atexit(&platform::unloadDelayLoaded);
}

FARPROC delayLoadHook(unsigned int notification, platform::DelayLoadInfo const * info)
{
    char path[platform::maximumPath];
    if (notification != platform::beforeLoadLibrary || !modulePath.locate(info->libraryName, path))
        return nullptr;
    return reinterpret_cast<FARPROC>(platform::loadModule(path));
}

} // namespace KetStats
