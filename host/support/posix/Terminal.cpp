#include "host/support/Terminal.h"

#include <cstring>

#include <langinfo.h>
#include <locale.h>
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

// The program itself stays in the C locale, where numbers are written as programs expect them.
bool showsUtf8()
{
    locale_t const locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (!locale)
        return false;
    bool const utf8 = std::strcmp(nl_langinfo_l(CODESET, locale), "UTF-8") == 0;
    freelocale(locale);
    return utf8;
}

} // namespace ketmon
