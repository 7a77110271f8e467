#include "host/capture/OpenCapture.h"

#include "host/capture/CaptureFile.h"

namespace ketmon {

// libpcap isn't part of the system here.
std::unique_ptr<CCaptureSource> openCapture(std::string const & path)
{
    return openCaptureFile(path);
}

} // namespace ketmon
