#include "host/support/Output.h"

#include "host/support/Interrupt.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ketmon {

namespace {

// What a pipe that has any room takes without waiting.
constexpr std::size_t longestPiece = 4096;
// From the signal that ends a write until it is known what that signal means.
constexpr int untilItIsRaised = 200; // milliseconds

} // namespace

void writeOutput(std::string_view text, CInterrupt const & interrupt)
{
    flushOutput();
    while (!text.empty() && !interrupt.raised()) {
        pollfd waited[] = {{interrupt.descriptor(), POLLIN, 0}, {STDOUT_FILENO, POLLOUT, 0}};
        if (poll(waited, std::size(waited), -1) < 1 || waited[1].revents == 0)
            continue;
        std::size_t const piece = std::min(text.size(), longestPiece);
        ssize_t const written = write(STDOUT_FILENO, text.data(), piece);
        if (written < 0 && errno != EINTR && errno != EAGAIN)
            failOutput();
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
        // A terminal takes a piece in part, or holds it up, and a signal ends that.
        if (written != static_cast<ssize_t>(piece))
            static_cast<void>(poll(waited, 1, untilItIsRaised));
    }
}

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
