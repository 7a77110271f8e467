#include "host/support/Output.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
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

bool writeErrors(std::string_view text, std::chrono::milliseconds patience) noexcept
{
    // A pipe that has room at all has it for what is written in one piece. The descriptor itself isn't made
    // non-blocking: others have it too.
    pollfd ready{STDERR_FILENO, POLLOUT, 0};
    if (poll(&ready, 1, static_cast<int>(patience.count())) != 1 || (ready.revents & POLLOUT) == 0)
        return false;
    ssize_t written = 0;
    do
        written = write(STDERR_FILENO, text.data(), text.size());
    while (written < 0 && errno == EINTR);
    return written == static_cast<ssize_t>(text.size());
}

bool errorsGoToTheSystemsLog()
{
    // The journal tells a service which stream is its own.
    char const * const stream = std::getenv("JOURNAL_STREAM");
    struct stat about
    {};
    return stream && fstat(STDERR_FILENO, &about) == 0 &&
           std::to_string(about.st_dev) + ":" + std::to_string(about.st_ino) == stream;
}

} // namespace ketmon
