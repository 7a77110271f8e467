#pragma once

#include "host/agent/SampleTimes.h"
#include "host/capture/CaptureCounters.h"
#include "host/capture/LinkType.h"
#include "host/wire/Greeting.h"

#include "ketstats/ketstats.h"

#include <bitset>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace ketmon {

// Who the agent is and what it counts, for the consoles.
struct CServed
{
    std::string agent;
    CIdentity identity{};
    SourceKind kind = SourceKind::file;
    std::string source; // path or interface
    std::function<std::uint32_t()> linkType = [] {
        return linktype::ethernet;
    };                           // as far as it is known; any thread
    std::uint64_t linkSpeed = 0; // bits per second
    std::bitset<32> errors;      // counters of "1.2" that the adapter has figures for
    std::function<CCaptureCounters()> counters = [] { return CCaptureCounters{}; }; // any thread
};

// The welcome of an agent that begins to count now.
class CAgentWelcome
{
public:
    CAgentWelcome(KetStats::CKetrinStatManager const & manager, std::chrono::milliseconds interval,
                  CServed const & served);

    // As it is told at this moment: with the epoch by the clock of the day, wherever that was set since.
    CWelcome now();

private:
    KetStats::CKetrinStatManager const & m_manager;
    std::function<std::uint32_t()> m_linkType;
    CWelcome m_welcome;
    long long m_epoch; // by the clock of the statistics
    CAhead m_ahead;
};

} // namespace ketmon
