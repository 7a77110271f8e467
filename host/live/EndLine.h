#pragma once

#include "host/capture/CaptureSummary.h"

#include "ketstats/ketstats.h"

#include <optional>
#include <string>
#include <vector>

namespace ketmon {

// What a capture lost, where an adapter tells.
struct CDrops
{
    unsigned long long byKernel = 0;
    unsigned long long byInterface = 0;
};

// "4711 frames counted, 12 rows given up, 2026-11-21T22:07:51.1234567Z to 2026-11-21T22:08:00.0000000Z"
std::string endLine(CCaptureSummary const & summary, KetStats::CLedgers const & ledgers,
                    std::optional<CDrops> const & drops);

// Whatever of the input wasn't counted though nothing is wrong with it, a line each.
std::vector<std::string> leftOutLines(CSourceFaults const & faults);

// Tells how a capture or a file ended, on stderr: what was left out, and, unless `quiet`, the line above. Then
// throws CFailure, exit code 2, that tells the damage if there was any.
void tellEnd(CCaptureSummary const & summary, KetStats::CLedgers const & ledgers,
             std::optional<CDrops> const & drops, bool quiet);

} // namespace ketmon
