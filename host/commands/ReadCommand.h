#pragma once

#include "host/live/AnalysisOptions.h"
#include "host/live/Recording.h"
#include "host/render/Report.h"

#include <CLI/CLI.hpp>

#include <string>

namespace ketmon {

// `ketmon read FILE`: counts a capture file and prints what a console would show of it.
struct CReadOptions
{
    std::string file;
    std::string filter; // none if empty
    bool quiet = false;
    CAnalysisOptions analysis;
    CReportOptions report;
    CRecordingOptions recording;
};

void addReadCommand(CLI::App & app);

// Throws CFailure.
void readCapture(CReadOptions const & options);

} // namespace ketmon
