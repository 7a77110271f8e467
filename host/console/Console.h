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
    CReportOptions report;
};

// Connects and shows every sample until there are enough, the agent ends, or a signal comes. Throws CFailure,
// also if the agent failed or lost its interface, once all that it told was shown.
void follow(CConsoleOptions const & options);

} // namespace ketmon
