#include "host/capture/LiveCapture.h"

#include "host/support/Failure.h"

#include <fmt/core.h>

namespace ketmon {

// The system has no capture library of its own, and ketmon brings none.
std::optional<CInput> openLiveCapture(CLiveOptions const & options, CLog & /*log*/)
{
    throw CFailure(
        exitBadInput,
        fmt::format("{}: ketmon can't capture on this system; it reads capture files", options.interface));
}

} // namespace ketmon
