#pragma once

#include "ketstats/ketstats.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// The option --enable of several commands.
void addEnableOption(CLI::App & command, std::vector<std::string> & names);

// Enables the groups named; all of them if none is, and none for "none". Throws CFailure for a name that is
// no group's.
void enableGroups(KetStats::CKetrinStatManager & manager, std::vector<std::string> const & names);

} // namespace ketmon
