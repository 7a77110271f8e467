#pragma once

#include "host/render/Report.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// `ketmon show FILE...`: prints saved snapshots, a full one and the deltas behind it.
struct CShowOptions
{
    std::vector<std::string> files;
    CReportOptions report;
};

void addShowCommand(CLI::App & app);

// Throws CFailure.
void showSnapshots(CShowOptions const & options);

} // namespace ketmon
