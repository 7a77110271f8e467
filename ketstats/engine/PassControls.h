#pragma once

#include <array>
#include <atomic>

namespace KetStats {

// Ports that get rows, limits included. Low above high matches no port.
struct CPortRange
{
    bool contains(int port) const
    {
        return low.load(std::memory_order_relaxed) <= port && high.load(std::memory_order_relaxed) >= port;
    }
    void set(int theLow, int theHigh)
    {
        low.store(theLow, std::memory_order_relaxed);
        high.store(theHigh, std::memory_order_relaxed);
    }

    std::atomic<int> low{1};
    std::atomic<int> high{1024};
};

// What any thread may set while frames are counted: single words without a lock, each of which the pass reads at
// the point where it needs it.
struct CPassControls
{
    bool counts(unsigned int group) const { return enabled[group].load(std::memory_order_relaxed); }

    std::array<std::atomic<bool>, 10> enabled{}; // by value of topLevelOids; index 0 is never addressed
    CPortRange tcpPorts;
    CPortRange udpPorts;

    // Of the groups of the second tree, a bit each, by their ids.
    bool countsExtended() const { return extended.load(std::memory_order_relaxed) != 0; }
    std::atomic<unsigned int> extended{0};
};

} // namespace KetStats
