#pragma once

#include "host/capture/CaptureSource.h"

#include <memory>
#include <string>

namespace ketmon {

// Opens a capture file with frames of Ethernet, of any kind that this system reads. Throws CFailure, exit
// code 2, for a file that can't be opened, isn't a capture, or has another link type; `next` throws the same
// for a damaged record or one that is cut short.
std::unique_ptr<CCaptureSource> openCapture(std::string const & path);

} // namespace ketmon
