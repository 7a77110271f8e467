#pragma once

#include "host/render/Report.h"
#include "host/wire/Endpoint.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// `ketmon console ADDRESS:PORT`: shows what an agent counts.
struct CConsoleOptions
{
    std::string agent = usualEndpoint;
    unsigned long long count = 0; // samples
    CReportOptions report;
};

void addConsoleCommand(CLI::App & app);

// Throws CFailure.
void runConsole(CConsoleOptions const & options);

} // namespace ketmon
