#pragma once

#include "host/capture/CaptureSource.h"

#include <memory>
#include <string>

namespace ketmon {

class CInterrupt;

// Opens a capture file, or "-" for the standard input: in the classic format or in that of the next
// generation, as it is or compressed with gzip. A file whose interfaces share their link type and their limit
// is accepted, refused and read as libpcap does it with stamps of nanoseconds, oddities included.
//
// 1. Its frames are of Ethernet, if an interface of that is described in front of the first frame of other
//    media that are counted; else they are of these other media, of one or several link types. All others are
//    left out, and told by `faults`. The file is read as far as that to open it.
// 2. `next` throws CFailure, exit code 2, for a damaged record or one that is cut short, once: then it is at
//    its end. But where the file has grown meanwhile, a record that is cut short is the end, told by `faults`.
//
// 3. Once the interrupt is raised it is at its end, which is no damage wherever it comes.
//
// Throws CFailure, exit code 2, for a file that can't be opened, isn't a capture, or has no interface whose
// frames are counted.
std::unique_ptr<CCaptureSource> openCaptureFile(std::string const & path);

// When a file is read for the first time: to open it, or by the first `next`, which then throws what opening
// would have. The latter never waits to open a pipe.
enum class FirstRead
{
    toOpen,
    byNext,
};

// `interrupt` must outlive the source; null if nobody interrupts.
std::unique_ptr<CCaptureSource> openCaptureFile(std::string const & path, FirstRead firstRead,
                                                CInterrupt const * interrupt);

} // namespace ketmon
