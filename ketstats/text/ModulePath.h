#pragma once

#include "ketstats/platform/Exports.h"
#include "ketstats/platform/Module.h"

namespace KetStats {

// The directory of this library, which is where the capture library is looked for.
class KETSTATS_API CModulePath
{
public:
    using FileNameOf = unsigned int (*)(HMODULE module, char * path, unsigned int size);

    // Asks for the file name of `module` and keeps its directory, with a separator at the end. False, with
    // the directory empty, if there is no name or it was cut off: it can have 259 characters at most.
    bool init(HMODULE module, FileNameOf fileNameOf = &platform::moduleFileName);

    // The directory followed by the name of a library into `path`, of platform::maximumPath characters. False
    // if that doesn't fit.
    bool locate(char const * libraryName, char * path) const;

    char const * directory() const { return m_directory; }

private:
    char m_directory[platform::maximumPath] = "";
};

// Records where this library lies, and has late-bound libraries looked for there. Only the first call works.
KETSTATS_API void initModulePath(HMODULE module);

// Asked by the loader before it binds a library late: loads the one that lies beside this library. Null,
// which leaves the search to the system, for any other notification, a path that is too long, or an absent
// file.
KETSTATS_API FARPROC delayLoadHook(unsigned int notification, platform::DelayLoadInfo const * info);

} // namespace KetStats
