#pragma once

#include "host/render/Report.h"
#include "host/wire/Endpoint.h"

#include <string>

namespace ketmon {

// `ketmon console ADDRESS:PORT`: shows what an agent counts.
struct CConsoleOptions
{
    std::string agent = usualEndpoint;
    unsigned long long count = 0; // samples
    bool noReconnect = false;     // ends where it could come back to an agent that it has lost
    bool plain = false;           // also to one on another machine
    CReportOptions report;
};

// Connects and shows every sample until there are enough, the agent ends, or a signal comes. A connection that is
// lost once samples came is made anew, and the gap is marked. Throws CFailure, also if the agent failed or lost its
// interface, once all that it told was shown.
void follow(CConsoleOptions const & options);

} // namespace ketmon
