#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ketmon {

// How many columns valid UTF-8 takes, at one for each character. Wide and combining ones are taken for plain
// ones.
std::size_t columnsOf(std::string_view text);

// The first so many characters.
std::string firstColumns(std::string_view text, std::size_t columns);

} // namespace ketmon
