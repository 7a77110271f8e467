#pragma once

#include <cstdint>
#include <string_view>

namespace ketmon {

// Names of protocol numbers, as short as people say them; empty for those without. The numbers are those of
// the public registries.

// By the id that a frame has: its Ethernet type or, up to 0xFF, its LLC service access point. Below 0x600 and
// above 0xFF are protocols of SNAP.
std::string_view protocolName(std::uint32_t code);

// By the protocol field of an IPv4 header.
std::string_view ipProtocolName(std::uint32_t code);

} // namespace ketmon
