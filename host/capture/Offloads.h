#pragma once

#include <string>
#include <vector>

namespace ketmon {

// What makes frames look larger than they are on the wire, by the names that ethtool has for it ("gro", "lro",
// "tso", "gso"), as a line that says how to turn it off; empty for nothing.
std::string offloadWarning(std::string const & interface, std::vector<std::string> const & offloads);

} // namespace ketmon
