#pragma once

#include <cstdint>
#include <string>

namespace ketmon {

// A link type as people are told of it: "LINUX_SLL (113)".
std::string linkTypeText(std::uint32_t number);

} // namespace ketmon
