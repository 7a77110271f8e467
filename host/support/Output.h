#pragma once

#include "host/support/Failure.h"

#include <string>
#include <string_view>
#include <vector>

namespace ketmon {

// Writes to the standard output and sees that it arrives there. Throws CFailure, exit code 1, for an output
// that is full, closed or gone.
void writeOutput(std::string_view text);

// The same for what was written by other means.
void flushOutput();

// Writes a line to the standard error output, behind the name of the program, with escapes for what a terminal
// would obey: names of files and texts of peers stand in it. What can't be written is lost.
void tell(std::string_view line) noexcept;

// Throws CFailure with the last of these lines, of which there is one at least; those before it are told.
[[noreturn]] void failWith(ExitCode exitCode, std::vector<std::string> const & lines);

// Sees that no file which is opened later takes the place of a standard stream that is closed: what is meant
// for the stream would go into it. Called before anything is opened. Reading from such a stream, and writing to
// such an output, fails; what goes to such an error output is lost.
void holdStandardStreams();

// Has a write to a pipe that nobody reads fail, where otherwise it would end the program without a word.
void letBrokenPipesFail();

} // namespace ketmon
