#pragma once

#include <string>
#include <string_view>

namespace ketmon {

// Writes to the standard output, all the way to where it goes. Throws CFailure, exit code 1, if that can't be
// done.
void writeOutput(std::string_view text);
void flushOutput();

// Writes a line to the standard error, escaped, which begins with the program's name. That it can't be written
// is nobody's failure.
void tell(std::string const & line) noexcept;

// Has a write to a pipe that nobody reads fail, where otherwise it would end the program without a word.
void letBrokenPipesFail();

} // namespace ketmon
