#include "host/support/Terminal.h"

#include <io.h>
#include <windows.h>

namespace ketmon {

namespace {

HANDLE handleOf(std::FILE * stream)
{
    return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
}

} // namespace

// A console obeys control sequences only when it is asked to, and old ones never do.
bool isTerminal(std::FILE * stream)
{
    HANDLE const console = handleOf(stream);
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) != 0 &&
           SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

CTerminalSize terminalSize(std::FILE * stream)
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(handleOf(stream), &info) == 0)
        return {};
    return {static_cast<unsigned int>(info.srWindow.Bottom - info.srWindow.Top + 1),
            static_cast<unsigned int>(info.srWindow.Right - info.srWindow.Left + 1)};
}

bool showsUtf8()
{
    return GetConsoleOutputCP() == CP_UTF8;
}

} // namespace ketmon
