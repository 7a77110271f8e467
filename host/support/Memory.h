#pragma once

#include <cstddef>

namespace ketmon {

// Bytes of memory that this process has now, as the system counts them; 0 where that can't be told. Takes
// some microseconds and no memory, so it may be asked when there is little.
std::size_t residentMemory();

// Gives memory that was freed back to the system, as far as whole pages of it are free. For whoever let go of
// much at once: it looks through all that is free, and holds up others that allocate meanwhile.
void returnFreeMemory();

} // namespace ketmon
