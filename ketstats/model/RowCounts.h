#pragma once

#include "ketstats/model/Ledger.h"

// Sums of what rows count, by the names that the counters of all rows have.
namespace KetStats {

inline void add(CLedger & sum, CLedger const & more)
{
    sum.rows += more.rows;
    sum.framesTransmitted += more.framesTransmitted;
    sum.bytesTransmitted += more.bytesTransmitted;
    sum.framesReceived += more.framesReceived;
    sum.bytesReceived += more.bytesReceived;
}

inline void subtract(CLedger & sum, CLedger const & less)
{
    sum.rows -= less.rows;
    sum.framesTransmitted -= less.framesTransmitted;
    sum.bytesTransmitted -= less.bytesTransmitted;
    sum.framesReceived -= less.framesReceived;
    sum.bytesReceived -= less.bytesReceived;
}

// Adds the counts of a row, without a row.
template <class Row>
void addCounts(CLedger & sum, Row const & row)
{
    if constexpr (requires { row.framesTransmitted; })
        sum.framesTransmitted += row.framesTransmitted.get();
    if constexpr (requires { row.dataTransmitted; })
        sum.bytesTransmitted += static_cast<unsigned long long>(row.dataTransmitted.get());
    if constexpr (requires { row.framesReceived; })
        sum.framesReceived += row.framesReceived.get();
    if constexpr (requires { row.dataReceived; })
        sum.bytesReceived += static_cast<unsigned long long>(row.dataReceived.get());
}

} // namespace KetStats
