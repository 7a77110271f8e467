#pragma once

#include <functional>
#include <string>

namespace ketmon {

class CLog;

// Waits until an interface is there and up, at least a moment, and tells the log so before and after; `why` is
// what is wrong with it by now. `waiting` is called about once a second. False if SIGINT or SIGTERM came; a
// SIGHUP means to look at once. For a program that has no other threads yet.
bool awaitInterface(std::string const & name, std::string const & why, std::function<void()> const & waiting,
                    CLog & log);

} // namespace ketmon
