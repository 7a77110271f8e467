#include "host/support/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace ketmon {

bool isTerminal(std::FILE * stream)
{
    return isatty(fileno(stream)) == 1;
}

CTerminalSize terminalSize(std::FILE * stream)
{
    winsize size{};
    if (ioctl(fileno(stream), TIOCGWINSZ, &size) != 0)
        return {};
    return {size.ws_row, size.ws_col};
}

} // namespace ketmon
