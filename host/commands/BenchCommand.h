#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// `ketmon bench FILE`: how fast this machine counts the frames of a file.
struct CBenchOptions
{
    std::string file;
    unsigned int passes = 20;
    std::vector<std::string> enable;
    bool json = false;
};

void addBenchCommand(CLI::App & app);

// Throws CFailure.
void benchCapture(CBenchOptions const & options);

} // namespace ketmon
