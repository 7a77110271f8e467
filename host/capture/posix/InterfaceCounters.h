#pragma once

#include "ketstats/capture/Requester.h"

#include <atomic>
#include <string>

namespace ketmon {

// What the system and the capture know of a network interface, as the adapter that the statistics ask. All is
// asked anew at each call, from any thread.
class CInterfaceCounters : public CNdisHook
{
public:
    // `folder` is that of the interface, /sys/class/net/NAME. `linkSpeed` in bits per second stands in for
    // the interface's own if it isn't 0.
    CInterfaceCounters(std::string folder, long linkSpeed);

    long GetLinkSpeed() override; // 0 if the interface has none, as the loopback
    long GetMissedFrames() override { return m_missed.load(std::memory_order_relaxed); }
    long GetSoftMissedFrames() override { return m_softMissed.load(std::memory_order_relaxed); }
    // Numbers of the driver interface for which the system has a counter; the others are 0.
    long GetLong(long oid) override;

    // What the capture lost so far: in the interface or its driver, and for want of room in its own buffer.
    void setLosses(long missed, long softMissed);

private:
    long number(std::string const & file) const;

    std::string m_folder;
    long m_linkSpeed;
    std::atomic<long> m_missed{0};
    std::atomic<long> m_softMissed{0};
};

// The folder of an interface in this system.
std::string interfaceFolder(std::string const & name);

} // namespace ketmon
