#include "host/support/Output.h"

#include "host/support/Escaped.h"
#include "host/support/Failure.h"

#include <fmt/core.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>

namespace ketmon {

namespace {

[[noreturn]] void fail()
{
    int const reason = errno;
    // What is left of it can't be written either.
    std::clearerr(stdout);
    throw CFailure(exitFailure,
                   fmt::format("can't write the output: {}", std::generic_category().message(reason)));
}

} // namespace

void writeOutput(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        fail();
    flushOutput();
}

void flushOutput()
{
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        fail();
}

void tell(std::string const & line) noexcept
{
    try {
        std::fprintf(stderr, "ketmon: %s\n", escaped(line).c_str());
    } catch (std::exception const &) {
        // Without memory there is no word of it.
    }
}

} // namespace ketmon
