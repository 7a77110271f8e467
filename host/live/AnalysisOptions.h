#pragma once

#include "host/live/RowLimits.h"

#include "ketstats/ketstats.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace ketmon {

// What is counted, for all commands that count frames.
struct CAnalysisOptions
{
    std::vector<std::string> enable;
    std::string tcpPorts;
    std::string udpPorts;
    long linkSpeed = 0; // bits per second; 0 if it isn't known
    CRowOptions rows;   // by which the manager is made
};

// The options --enable, --tcp-ports, --udp-ports, --rows and --link-speed.
void addAnalysisOptions(CLI::App & command, CAnalysisOptions & options);

// Sets a manager up before its analysis. Throws CFailure, exit code 2, for groups and ports that aren't any.
void configure(KetStats::CKetrinStatManager & manager, CAnalysisOptions const & options);

// An adapter of which nothing is known but the speed of its link.
class CFileHook : public CNdisHook
{
public:
    explicit CFileHook(long linkSpeed) : m_linkSpeed(linkSpeed) {}
    long GetLinkSpeed() override { return m_linkSpeed; }

private:
    long m_linkSpeed;
};

} // namespace ketmon
