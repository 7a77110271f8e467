#pragma once

#include "host/capture/CaptureCounters.h"
#include "host/capture/CaptureSource.h"
#include "host/capture/SnapLength.h"

#include "ketstats/capture/Requester.h"

#include <bitset>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ketmon {

class CLog;

// Where frames come from, and the adapter behind it.
struct CInput
{
    std::unique_ptr<CNdisHook> hook;
    std::unique_ptr<CCaptureSource> source; // may tell the hook of losses
    // Counters of "Global errors" for which the hook has figures, by their ids.
    std::bitset<32> errors{};
    // What the capture knows by now; any thread may ask.
    std::function<CCaptureCounters()> counters = [] { return CCaptureCounters(); };
};

// How an interface is captured on.
struct CLiveOptions
{
    std::string interface;
    std::string filter;                      // empty for all frames
    long linkSpeed = 0;                      // bits per second; stands in for the interface's own unless 0
    int bufferBytes = 16 << 20;              // for frames that the program hasn't fetched yet
    unsigned int snapLength = headersLength; // bytes that are kept of a frame; 0 for all
    bool promiscuous = true;
    bool wait = false; // for an interface that isn't there or is down
    // Called about once a second while it waits.
    std::function<void()> waiting = [] {};
};

// Opens the capture of the frames that pass a network interface, or "any" of them. `log`, which must live
// longer, is told of waiting, of offloading that makes frames look larger than they are on the wire, and
// later, on the thread that reads frames, of what becomes of the interface. Nothing if SIGINT or SIGTERM came
// while it waited, which are its own then: so it must be called before there are other threads.
//
// Throws CFailure: exit code 1 for an interface that isn't there, can't be captured on or whose frames can't
// be counted, 2 for a filter that is none, and 2 on a system on which ketmon can't capture.
//
// The source follows the interface when it goes down and comes up again, or gets another name. Its `next`
// throws CInterfaceGone when it is removed.
std::optional<CInput> openLiveCapture(CLiveOptions const & options, CLog & log);

} // namespace ketmon
