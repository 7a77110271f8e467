#pragma once

#include <cstdio>

namespace ketmon {

struct CTerminalSize
{
    unsigned int lines = 0; // both 0 if that can't be told
    unsigned int columns = 0;
};

// Whether a stream goes to a terminal that obeys control sequences.
bool isTerminal(std::FILE * stream);

CTerminalSize terminalSize(std::FILE * stream);

// Whether text may have more than ASCII: in the user's locale, or on the console.
bool showsUtf8();

} // namespace ketmon
