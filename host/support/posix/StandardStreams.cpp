#include "host/support/Output.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace ketmon {

void holdStandardStreams()
{
    // Each gets a file that can't do what the stream is for, but for errors, of which nobody could tell.
    constexpr int modes[] = {O_WRONLY, O_RDONLY, O_WRONLY};
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        if (fcntl(stream, F_GETFD) == -1 && errno == EBADF)
            static_cast<void>(open("/dev/null", modes[stream])); // the lowest that is free, which is this
}

} // namespace ketmon
