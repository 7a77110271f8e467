#include "host/support/Output.h"

namespace ketmon {

// The run-time reserves the places of the three here, whether they are open or not.
void holdStandardStreams() {}

} // namespace ketmon
