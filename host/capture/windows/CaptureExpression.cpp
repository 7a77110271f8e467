#include "host/capture/CaptureExpression.h"

#include "host/support/Failure.h"

namespace ketmon {

std::unique_ptr<CCaptureExpression> compiledExpression(std::string const & /*text*/)
{
    throw CFailure(exitBadInput, "capture filter expressions can't be tested on this system");
}

} // namespace ketmon
