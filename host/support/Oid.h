#pragma once

#include "ketstats/ketstats.h"

#include <optional>
#include <string>

namespace ketmon {

// The identifier that a text is; nothing if it is none. Components too large would wrap into ones that lead
// somewhere, so the text must be the one that the identifier reads as.
std::optional<KetStats::COid> parsedOid(std::string const & text);

} // namespace ketmon
