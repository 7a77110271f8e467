#pragma once

#include "ketstats/ketstats.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace ketmon {

// The option --enable of several commands.
void addEnableOption(CLI::App & command, std::vector<std::string> & names);

// Enables the groups named; all of them if none is, and none for "none". Throws CFailure for a name that is
// no group's.
void enableGroups(KetStats::CKetrinStatManager & manager, std::vector<std::string> const & names);

// The groups that are counted, 1.1 to 1.11: bit 4 is that of 1.4. Some are counted whatever was enabled, and
// some with another.
std::uint32_t countedGroups(KetStats::CKetrinStatManager const & manager);

} // namespace ketmon
