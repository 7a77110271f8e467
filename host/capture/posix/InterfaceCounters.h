#pragma once

#include "host/capture/CaptureCounters.h"
#include "host/capture/posix/RisingCounter.h"

#include "ketstats/capture/Requester.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace ketmon {

// What the system and the capture know of a network interface, as the adapter that the statistics ask. All is
// asked anew at each call, from any thread. A counter that can't be read now is what it was before, and one that the
// driver starts anew goes on from there.
class CInterfaceCounters : public CNdisHook
{
public:
    // `folder` is that of the interface, /sys/class/net/NAME. `linkSpeed` in bits per second stands in for
    // the interface's own if it isn't 0.
    CInterfaceCounters(std::string folder, long linkSpeed);

    long GetLinkSpeed() override; // 0 if the interface has none, as the loopback
    long GetMissedFrames() override;
    long GetSoftMissedFrames() override;
    // Numbers of the driver interface for which the system has a counter; the others are 0.
    long GetLong(long oid) override;

    // The counters of "Global errors" that have figures, which could be read by now: ids below "1.2".
    std::bitset<32> errors() const;

    // The interface's folder by now: it goes with the name.
    void setFolder(std::string folder);

    // Frames that the interface dropped since the capture began: nothing where the system didn't tell then.
    void beginCapture();
    std::optional<std::uint64_t> droppedSinceBegin() const;

    // What the capture has received and lost so far.
    void setCapture(CCaptureCounters const & counters);
    CCaptureCounters capture() const;

private:
    std::string file(std::string const & name) const;
    // Nothing for one that could never be read.
    std::optional<std::uint64_t> counter(char const * name) const;
    // The same for a sum of two, or of one alone.
    std::optional<std::uint64_t> sumOf(char const * first, char const * second) const;

    long m_linkSpeed;
    mutable std::mutex m_mutex;
    std::string m_folder; // this and the next under the mutex
    CCaptureCounters m_capture;
    mutable std::mutex m_reading;                             // before the other one
    mutable std::map<std::string, CRisingCounter> m_seen;     // under it
    std::array<std::optional<std::uint64_t>, 2> m_firstDrops; // what it had dropped when the capture began
};

// The folder of an interface in this system.
std::string interfaceFolder(std::string const & name);

} // namespace ketmon
