#pragma once

#include "host/render/SampleFacts.h"

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

// What a manager counts, by the ids of the groups: those that go without saying, and those that come along
// with another one, included.
CGroupSet countedGroups(KetStats::CKetrinStatManager const & manager);

} // namespace ketmon
