#pragma once

#include <string>

namespace ketmon {

struct CSystemCallsLeft
{
    bool restricted;
    std::string text; // what holds, such as "system calls by seccomp"
};

// Lets only those system calls through that a program needs which counts frames and serves consoles, with what
// it has open: nothing is written to but what is open, no other socket is made, no program started, no memory
// made executable. Any other call fails as one that the system doesn't have, for which libraries have another
// way; when `strict` it ends the process. Holds for the calling thread and those that it starts, for ever, and
// takes that new privileges were given up.
CSystemCallsLeft restrictSystemCalls(bool strict);

} // namespace ketmon
