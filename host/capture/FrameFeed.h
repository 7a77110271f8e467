#pragma once

#include "host/capture/CaptureSource.h"
#include "host/capture/CaptureSummary.h"

#include "ketstats/ketstats.h"

#include <stop_token>

namespace ketmon {

struct CFeedOptions
{
    double pace = 0.0;        // how many times faster than it was captured; 0 for as fast as it can be read
    double longestGap = 10.0; // seconds; of a longer gap between two frames no more is waited for
    unsigned long long most = 0; // ends after so many frames; 0 for all
};

// Hands the frames of a source to a manager, on the thread that calls it, until the source ends or a stop is
// asked for, which cuts a pause short. `summary` grows with them. Throws CFailure.
void feedFrames(KetStats::CKetrinStatManager & manager, CCaptureSource & source, CFeedOptions const & options,
                std::stop_token const & stop, CCaptureSummary & summary);

} // namespace ketmon
