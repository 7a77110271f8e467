#include "host/capture/OpenCapture.h"

#include "host/capture/posix/PcapFile.h"

namespace ketmon {

std::unique_ptr<CCaptureSource> openCapture(std::string const & path)
{
    return std::make_unique<CPcapFile>(path);
}

} // namespace ketmon
