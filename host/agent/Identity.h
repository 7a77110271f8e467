#pragma once

#include "host/wire/Greeting.h"

#include <string>

namespace ketmon {

class CLog;

// 32 hexadecimal digits.
std::string identityText(CIdentity const & identity);
// Throws CFailure, exit code 2, for a text that is none.
CIdentity parsedIdentity(std::string const & text);

// The identity of an agent that was given none: the one that is kept in `folder`, where it is made first if
// there is none yet. Without a folder, or if it can't be kept there, it is good for this time only; the log is told
// of the latter.
CIdentity keptIdentity(std::string const & folder, CLog & log);

// The name of this machine; "agent" if it has none.
std::string hostName();

} // namespace ketmon
