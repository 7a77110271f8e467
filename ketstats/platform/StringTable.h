#pragma once

#include "ketstats/platform/SystemTypes.h"

#include <string>

namespace KetStats::platform {

// Fetches string `id` from the string table of `module`, in the code page of the machine. False, with `text`
// untouched, if there is none. An id that stands in a block of the table without a text of its own can give
// true and an empty text.
bool loadString(HMODULE module, unsigned int id, std::string & text);

} // namespace KetStats::platform
