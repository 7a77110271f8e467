#pragma once

#include "host/capture/CaptureCounters.h"
#include "host/capture/CaptureSource.h"

#include "ketstats/capture/Requester.h"

#include <bitset>
#include <functional>
#include <memory>
#include <string>

namespace ketmon {

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

// The frames that pass a network interface and that `filter` lets through, all if it is empty. `linkSpeed` in
// bits per second stands in for the interface's own if it isn't 0. Throws CFailure: exit code 1 for an
// interface that isn't there, can't be captured on or isn't Ethernet, 2 for a filter that is none, and 2 on a
// system on which ketmon can't capture.
CInput openLiveCapture(std::string const & interface, std::string const & filter, long linkSpeed);

} // namespace ketmon
