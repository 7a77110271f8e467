#pragma once

#include <string>
#include <vector>

namespace ketmon {

enum class Sandbox
{
    on,     // what is outside fails
    strict, // a system call outside ends the process, and so does a part that can't be had, at the start
    off,    // only capabilities and the user go
};

struct CRightsOptions
{
    std::string user; // who the process becomes if root started it; empty for `usualUser` where there is one
    Sandbox sandbox = Sandbox::on;
};

constexpr char const * usualUser = "ketmon";

// What a process still needs once its rights are gone.
struct CNeeds
{
    std::vector<std::string> readable; // files, and folders with all below them; some may not be there
    bool mayBeUsualUser = true;        // false where only the user who started it may read them
};

// Gives up what a process that reads hostile bytes has no use for, in this order:
//
//     the bounding set of capabilities, the way back to them for root
//     root itself, with its groups
//     all capabilities
//     new privileges from programs that are started
//     all files but those in `needs`, and writing to any; connecting and listening (Landlock)
//     all system calls but those of a program that counts and serves (seccomp)
//
// Descriptors that are open stay so. It holds for this thread and those that it starts, so no other thread may
// be there yet. Gives a line that says what holds and what couldn't be dropped; an empty one on a system that
// knows none of this. Throws CFailure: exit code 2 for a user who isn't there or whom only root can become, 1 if
// that fails or, when strict, if anything couldn't be dropped.
std::string dropRights(CRightsOptions const & options, CNeeds const & needs);

} // namespace ketmon
