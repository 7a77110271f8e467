#pragma once

#include "ketstats/capture/Filter.h"

#include <cstdint>
#include <string>

namespace ketmon {

// A filter of a row as an expression of libpcap's language for frames of that link type. What the library
// writes of a filter is for Ethernet; where a frame's packet begins, and how its protocol is told, differs
// among media. It selects the frames that the filter passes, but for those that are cut, behind more than two
// VLAN tags, or of a LINUX_SLL whose hardware has no protocol.
std::string mediumExpression(CFilter const & filter, std::uint32_t linkType);

} // namespace ketmon
