#include "host/support/Output.h"

#include "host/support/Escaped.h"
#include "host/support/Failure.h"

#include <fmt/core.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ketmon {

namespace {

constexpr std::size_t longestPiece = 4096;
// For whoever reads what a program has to say; one that reads no more mustn't hold it up for ever.
constexpr std::chrono::milliseconds patience(2000);

} // namespace

void failOutput()
{
    throw CFailure(exitFailure, fmt::format("the output can't be written: {}", std::strerror(errno)));
}

void writeOutput(std::string_view text)
{
    if (!text.empty() && std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        failOutput();
    flushOutput();
}

void flushOutput()
{
    // An error of an earlier write is known by the mark that it left.
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        failOutput();
}

void tell(std::string_view line) noexcept
{
    try {
        std::string const text = fmt::format("ketmon: {}\n", escaped(line));
        std::string_view rest = text;
        while (!rest.empty() && writeErrors(rest.substr(0, longestPiece), patience))
            rest.remove_prefix(std::min(rest.size(), longestPiece));
    } catch (...) {
        // There is nobody left to be told.
    }
}

} // namespace ketmon
