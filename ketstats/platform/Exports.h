#pragma once

// What leaves a shared library. Two libraries are built from this tree, so there are two marks: the capture
// layer's and the statistics library's. A mark means "import" to everyone but the library that defines the
// entity. KETSTATS_TYPE marks a class of headers only, whose run-time type must be one and the same in every
// module, because its objects are thrown or cast across them.
//
// A class template of which a source of the library has explicit instantiations bears KETSTATS_TEMPLATE, and
// its header declares each of them by KETSTATS_EXTERN_TEMPLATE(Class<Argument>);

#if defined(_WIN32)
#include "ketstats/platform/windows/Exports.h"
#else
#include "ketstats/platform/posix/Exports.h"
#endif
