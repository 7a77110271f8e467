#pragma once

#include "host/capture/CaptureSource.h"

#include <memory>
#include <string>

namespace ketmon {

// Opens a capture file with frames of Ethernet, in the classic format or in that of the next generation,
// without a capture library. All such files are accepted, refused and read as libpcap does it with stamps of
// nanoseconds, oddities included, so that ketmon counts a file alike on every system.
//
// Throws CFailure, exit code 2, for a file that can't be opened, isn't a capture, or has another link type.
// `next` throws the same for a damaged record or one that is cut short.
std::unique_ptr<CCaptureSource> openCaptureFile(std::string const & path);

} // namespace ketmon
