#pragma once

#include "ketstats/platform/Exports.h"

// The version of these headers. The build takes it from here.
#define KETSTATS_VERSION_MAJOR 0
#define KETSTATS_VERSION_MINOR 1
#define KETSTATS_VERSION_PATCH 0

// One number that grows with the version: 1.2.3 is 10203.
#define KETSTATS_VERSION                                                                                     \
    (KETSTATS_VERSION_MAJOR * 10000 + KETSTATS_VERSION_MINOR * 100 + KETSTATS_VERSION_PATCH)

namespace KetStats {

// The version of the library that runs: as KETSTATS_VERSION, and as a text, "1.2.3".
[[nodiscard]] KETSTATS_API int version();
[[nodiscard]] KETSTATS_API char const * versionText();

} // namespace KetStats
