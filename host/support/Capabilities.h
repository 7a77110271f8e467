#pragma once

#include <string>

namespace ketmon {

// Both act on the calling thread, and on those that it starts.

// Clears the bounding set, and keeps root from getting capabilities back, as far as that is permitted. To be
// called while the process still has its capabilities.
void clearBoundingSet();

struct CCapabilitiesLeft
{
    bool some;        // of those that can be used
    std::string text; // what holds, such as "no capabilities"
};

// Clears all sets of capabilities, and says what is left.
CCapabilitiesLeft clearCapabilities();

} // namespace ketmon
