#pragma once

#include <chrono>
#include <string_view>

namespace ketmon {

class CInterrupt;

// Writes to the standard output and sees that it arrives there. Throws CFailure, exit code 1, for an output
// that is full, closed or gone.
void writeOutput(std::string_view text);

// The same for what was written by other means.
void flushOutput();

// Writes as `writeOutput` does to an output that may take nothing for long, such as a pipe that nobody reads or a
// terminal that was stopped. What isn't written once `interrupt` is raised is left out.
void writeOutput(std::string_view text, CInterrupt const & interrupt);

// Throws CFailure for the output, with what errno says.
[[noreturn]] void failOutput();

// Writes a line to the standard error output, behind the name of the program and with escapes for what a
// terminal would obey; what can't be written, or not soon, is lost.
void tell(std::string_view line) noexcept;

// Writes text of at most 4096 bytes to the standard error output in one piece, so that lines of several threads or
// programs don't mix. False if that can't be had within `patience`, as when a pipe is full that nobody reads, or
// if it fails; then part of it may be written, to an output that is no pipe.
bool writeErrors(std::string_view text, std::chrono::milliseconds patience) noexcept;

// Whether the system's log takes the standard error output, line by line and with times of its own.
bool errorsGoToTheSystemsLog();

// Sees that no file which is opened later takes the place of a standard stream that is closed: what is meant
// for the stream would go into it. Called before anything is opened. Reading from such a stream, and writing to
// such an output, fails; what goes to such an error output is lost.
void holdStandardStreams();

// Has a write to a pipe that nobody reads fail, where otherwise it would end the program without a word.
void letBrokenPipesFail();

} // namespace ketmon
