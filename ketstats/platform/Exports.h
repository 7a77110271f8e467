#pragma once

// What leaves a shared library. Two libraries are built from this tree, so there are two marks: the capture
// layer's and the statistics library's. A mark means "import" to everyone but the library that defines the
// entity. KETSTATS_TYPE marks a class of headers only, whose run-time type must be one and the same in every
// module, because its objects are thrown or cast across them.

#if defined(_WIN32)
#include "ketstats/platform/windows/Exports.h"
#else
#include "ketstats/platform/posix/Exports.h"
#endif
