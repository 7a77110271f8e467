#include "host/support/Output.h"

#include <csignal>

namespace ketmon {

void letBrokenPipesFail()
{
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace ketmon
