#pragma once

// The handful of system types that the public interface speaks of. On Windows they are the system's own;
// elsewhere they are plain types of the same shape.

#if defined(_WIN32)
#include "ketstats/platform/windows/SystemTypes.h"
#else
#include "ketstats/platform/posix/SystemTypes.h"
#endif
