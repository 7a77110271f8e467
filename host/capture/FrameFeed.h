#pragma once

#include "host/capture/CaptureSource.h"

#include "ketstats/ketstats.h"

#include <stop_token>

namespace ketmon {

struct CFeedOptions
{
    double pace = 0.0; // how many times faster than it was captured; 0 for as fast as it can be read
    unsigned long long most = 0; // ends after so many frames; 0 for all
};

// Hands the frames of a source to a manager, on the thread that calls it, until the source ends or a stop is
// asked for, which cuts a pause short. `frames` grows with them. Throws CFailure.
void feedFrames(KetStats::CKetrinStatManager & manager, CCaptureSource & source, CFeedOptions const & options,
                std::stop_token const & stop, unsigned long long & frames);

} // namespace ketmon
