#pragma once

#include "host/agent/AgentServer.h"
#include "host/live/AnalysisOptions.h"

#include <CLI/CLI.hpp>

#include <string>

namespace ketmon {

// `ketmon agent`: counts frames and serves consoles meanwhile.
struct CAgentOptions
{
    std::string file; // one of these two
    std::string interface;
    std::string filter;
    std::string listen = usualEndpoint;
    std::string name;
    std::string identity;
    double pace = 1.0;
    double interval = 1.0; // seconds, as is the next
    double linger = 0.0;
    unsigned long long count = 0;
    CServerOptions server;
    CAnalysisOptions analysis;
};

void addAgentCommand(CLI::App & app);

// Throws CFailure.
void runAgent(CAgentOptions const & options);

} // namespace ketmon
