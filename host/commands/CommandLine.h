#pragma once

namespace ketmon {

// Runs the program. Gives its exit code: 0 for success, 1 for a failure while running, 2 for bad usage or
// unreadable input, with one line on stderr that says what and why.
int run(int argc, char const * const * argv);

} // namespace ketmon
