#pragma once

#include <cstddef>
#include <optional>

namespace ketmon {

// Bytes of memory that this process has now, as the system counts them; nothing where that can't be told. Takes
// some microseconds and no memory, so it may be asked when there is little.
//
// What it needs for that it opens once and keeps: whoever gives up the right to open files, or may run out of
// descriptors, asks once before. Any thread may call it; a process that was forked off would be told of the other.
std::optional<std::size_t> residentMemory();

// Gives memory that was freed back to the system, as far as whole pages of it are free. For whoever let go of
// much at once: it looks through all that is free, and holds up others that allocate meanwhile.
void returnFreeMemory();

} // namespace ketmon
