#include "host/support/Output.h"

#include "host/support/Interrupt.h"

#include <cstdio>

namespace ketmon {

// The run-time reserves the places of the three here, whether they are open or not.
void holdStandardStreams() {}

void writeOutput(std::string_view text, CInterrupt const & interrupt)
{
    if (!interrupt.raised())
        writeOutput(text);
}

bool writeErrors(std::string_view text, std::chrono::milliseconds) noexcept
{
    return std::fwrite(text.data(), 1, text.size(), stderr) == text.size() && std::fflush(stderr) == 0;
}

bool errorsGoToTheSystemsLog()
{
    return false;
}

} // namespace ketmon
