#include "host/capture/Interfaces.h"

#include "host/support/Failure.h"

namespace ketmon {

std::vector<CInterface> networkInterfaces()
{
    throw CFailure(exitBadInput, "ketmon can't capture on this system; it reads capture files");
}

} // namespace ketmon
