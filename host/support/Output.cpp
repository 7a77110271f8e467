#include "host/support/Output.h"

#include "host/support/Escaped.h"

#include <fmt/core.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

namespace ketmon {

namespace {

[[noreturn]] void fail()
{
    throw CFailure(exitFailure, fmt::format("the output can't be written: {}", std::strerror(errno)));
}

} // namespace

void writeOutput(std::string_view text)
{
    if (!text.empty() && std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        fail();
    flushOutput();
}

void flushOutput()
{
    // An error of an earlier write is known by the mark that it left.
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        fail();
}

void tell(std::string_view line) noexcept
{
    try {
        // In one piece, so that lines of several threads or programs don't mix.
        std::fprintf(stderr, "ketmon: %s\n", escaped(line).c_str());
    } catch (std::exception const &) {
        // There is no memory for it.
    }
}

void failWith(ExitCode exitCode, std::vector<std::string> const & lines)
{
    for (std::size_t i = 0; i + 1 < lines.size(); ++i)
        tell(lines[i]);
    throw CFailure(exitCode, lines.back());
}

} // namespace ketmon
