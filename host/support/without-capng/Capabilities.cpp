#include "host/support/Capabilities.h"

namespace ketmon {

void clearBoundingSet() {}

CCapabilitiesLeft clearCapabilities()
{
    return {true, "capabilities as they were, for ketmon was built without libcap-ng"};
}

} // namespace ketmon
