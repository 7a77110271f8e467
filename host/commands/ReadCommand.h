#pragma once

#include "host/live/AnalysisOptions.h"
#include "host/live/Recording.h"
#include "host/render/Report.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// `ketmon read FILE...`: counts capture files as one and prints what a console would show of them.
struct CReadOptions
{
    std::vector<std::string> files;
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
