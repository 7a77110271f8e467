#pragma once

#include "host/live/RowLimits.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// `ketmon bench FILE...`: how fast this machine counts the frames of files.
struct CBenchOptions
{
    std::vector<std::string> files;
    unsigned int passes = 20;
    std::vector<std::string> enable;
    CRowOptions rows;
    bool json = false;
};

void addBenchCommand(CLI::App & app);

// Throws CFailure.
void benchCapture(CBenchOptions const & options);

} // namespace ketmon
