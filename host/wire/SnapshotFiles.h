#pragma once

#include <string>
#include <string_view>

namespace ketmon {

// A packed snapshot in a file: its bytes as they are, without a frame around them. Both throw CFailure: exit
// code 1 for a file that can't be written, 2 for one that can't be read.
void saveSnapshot(std::string const & path, std::string_view bytes);
std::string loadSnapshot(std::string const & path);

} // namespace ketmon
