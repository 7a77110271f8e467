#include "host/OpenCapture.h"

#include "host/posix/PcapFile.h"

namespace ketmon {

std::unique_ptr<CCaptureSource> openCapture(std::string const & path)
{
    return std::make_unique<CPcapFile>(path);
}

} // namespace ketmon
