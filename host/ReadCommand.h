#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// `ketmon read FILE`: counts a capture file and prints what was counted.
struct CReadOptions
{
    std::string file;
    bool json = false;
    bool quiet = false;
    std::vector<std::string> enable;
    std::string tcpPorts;
    std::string udpPorts;
    long linkSpeed = 0;
    unsigned int top = 20;
};

void addReadCommand(CLI::App & app);

// Throws CFailure.
void readCapture(CReadOptions const & options);

} // namespace ketmon
