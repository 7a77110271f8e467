#pragma once

#include "host/agent/AgentServer.h"
#include "host/capture/LiveCapture.h"
#include "host/live/AnalysisOptions.h"
#include "host/support/Rights.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// `ketmon agent`: counts frames and serves consoles meanwhile.
struct CAgentOptions
{
    std::vector<std::string> files; // one of these two
    std::string interface;
    std::string filter;
    CLiveOptions live; // without these two
    std::string listen = usualEndpoint;
    std::string socketMode = "660"; // octal
    std::string name;
    std::string identity;
    double pace = 1.0;
    double longestGap = 10.0; // seconds, as are the next two
    double interval = 1.0;
    double linger = 0.0;
    std::size_t memory = 1024; // MiB
    unsigned long long count = 0;
    bool quiet = false;
    bool verbose = false;
    CServerOptions server;
    CAnalysisOptions analysis;
    CRightsOptions rights;
};

void addAgentCommand(CLI::App & app);

// Throws CFailure.
void runAgent(CAgentOptions const & options);

} // namespace ketmon
