#pragma once

namespace KetStats {

// What rows had counted that their table no longer has. For a table that counts one way only, the other way
// stays 0.
struct CLedger
{
    unsigned long long rows = 0; // rows that were given up
    unsigned long long framesTransmitted = 0;
    unsigned long long bytesTransmitted = 0;
    unsigned long long framesReceived = 0;
    unsigned long long bytesReceived = 0;

    friend bool operator==(CLedger const &, CLedger const &) = default;
};

} // namespace KetStats
