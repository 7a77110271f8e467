#include "host/capture/GzipSource.h"

#include "host/support/Failure.h"

#include <fmt/core.h>

namespace ketmon {

std::unique_ptr<CByteSource> gzipSource(std::string const & name, std::unique_ptr<CByteInput> /*compressed*/)
{
    throw CFailure(exitBadInput,
                   fmt::format("{}: is compressed with gzip, which this ketmon was built without; "
                               "uncompress it first",
                               name));
}

} // namespace ketmon
