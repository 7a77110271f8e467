#pragma once

#include "ketstats/platform/SystemTypes.h"

#include <string>

namespace KetStats::platform {

// Fetches string `id` from the string table of `module`, in the code page of the machine. The table is kept in
// blocks of sixteen ids, whose numbers have 16 bits: of an id only the low 20 bits count. False, with `text`
// untouched, if there is no such block. An id that stands in a block without a text of its own gives true and an
// empty text.
bool loadString(HMODULE module, unsigned int id, std::string & text);

} // namespace KetStats::platform
