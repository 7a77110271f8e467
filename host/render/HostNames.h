#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ketmon {

struct CHostNameLimits
{
    std::chrono::milliseconds time{5000}; // for all together
    std::size_t addresses = 256;          // only the first so many are asked for
    std::string servers;                  // "ADDRESS:PORT,..."; the system's own if empty
};

// Whether this program was built with something to ask, and what: "c-ares 1.18.1"; empty if not.
std::string hostNameResolver();

// The names that the DNS has for these IPv4 addresses, as far as they came in time. Waits for them, but never
// longer than the limits say, and stops early once `stopped` says so, which is asked ten times a second or
// more.
std::map<std::string, std::string> hostNames(std::vector<std::string> const & addresses,
                                             CHostNameLimits const & limits,
                                             std::function<bool()> const & stopped);

} // namespace ketmon
