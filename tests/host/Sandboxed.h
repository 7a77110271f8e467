#pragma once

#include <string>

#include <sys/types.h>

namespace test {

// Whether this kernel and this build of ketmon have the parts of which a sandbox is made.
bool hasLandlock();
bool hasSystemCallFilter();
bool hasCapabilities();

// Whether this is a build for sanitizers, which have memory and system calls of their own.
bool sanitized();

// What /proc says of a process behind that name, such as "CapEff"; empty if it says nothing.
std::string statusOf(pid_t process, std::string const & name);

} // namespace test
