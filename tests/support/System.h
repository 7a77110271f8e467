#pragma once

// What tests ask of the operating system.
namespace test {

// Whether a program that ended with that status, as an exit predicate is given it, was stopped by a debug
// break.
bool stoppedByADebugBreak(int status);

// The memory that this program has in use, in megabytes; 0 if the system doesn't tell.
long residentMegabytes();

} // namespace test
