#pragma once

#include "host/wire/SavedSnapshot.h"

#include <string>
#include <vector>

namespace ketmon {

// Saves a snapshot in a file, which takes the place of one that is there only when it is whole; see
// CReplacedFile. Throws CFailure, exit code 1, for what can't be written.
void saveSnapshot(std::string const & path, CSavedSnapshot const & snapshot);

// Throws CFailure, exit code 2, for what can't be read and for what is no saved snapshot.
CSavedSnapshot loadSnapshot(std::string const & path);

// The paths in the order of the snapshots in them, which must be the first ones of one recording without a gap.
// Throws CFailure, exit code 2, for others.
std::vector<std::string> inOrder(std::vector<std::string> const & paths);

} // namespace ketmon
