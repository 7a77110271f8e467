#pragma once

#include "ketstats/schema/Columns.h"

namespace KetStats {

// Counters with one value each for the whole network. The pass counts data and frames in the live tree; the
// others are worked out in snapshots. Utilisations are fractions of the link speed, 1.0 a saturated link.
class KETSTATS_API CGlobalStatisticsStat : public schema::CUnfilteredContainerStat
{
public:
    CGlobalStatisticsStat(CBaseStat * theParent, unsigned short theId);
    static CStructStatDescription const & groupDescription();

    // clang-format off
#define COLUMNS(COLUMN)                                                                     \
    COLUMN( 1, sampleNumber,        schema::Counter<1101, schema::Unit::sample>)            \
    COLUMN( 2, transmittedData,     schema::Bytes<1102>)                                    \
    COLUMN( 3, transmittedFrames,   schema::Counter<1103, schema::Unit::frame>)             \
    COLUMN( 4, currentUtilisation,  schema::Ratio<1104, schema::Unit::bandwidth>)           \
    COLUMN( 5, averageUtilisation,  schema::Ratio<1105, schema::Unit::bandwidth>)           \
    COLUMN( 6, peakUtilisation,     schema::Ratio<1106, schema::Unit::bandwidth>)
    KETSTATS_COLUMNS(CGlobalStatisticsStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

// What only the driver knows, as its absolute figures, and the accuracy that a snapshot derives from them.
// The names of the last three leave the order of their resources; the ids are what counts.
class KETSTATS_API CGlobalErrorsStat : public schema::CUnfilteredContainerStat
{
public:
    CGlobalErrorsStat(CBaseStat * theParent, unsigned short theId);
    static CStructStatDescription const & groupDescription();

    // clang-format off
#define COLUMNS(COLUMN)                                                                     \
    COLUMN( 1, hardwareOverflows,   schema::Counter<1109, schema::Unit::entity>)            \
    COLUMN( 2, softwareOverflows,   schema::Counter<1110, schema::Unit::entity>)            \
    COLUMN( 3, accuracy,            schema::Ratio<1111, schema::Unit::percent>)             \
    COLUMN( 4, crcErrors,           schema::Counter<1112, schema::Unit::entity>)            \
    COLUMN( 5, alignmentErrors,     schema::Counter<1113, schema::Unit::entity>)            \
    COLUMN( 6, singleCollisions,    schema::Counter<1114, schema::Unit::entity>)            \
    COLUMN( 7, multipleCollisions,  schema::Counter<1115, schema::Unit::entity>)            \
    COLUMN( 8, deferred,            schema::Counter<1116, schema::Unit::entity>)            \
    COLUMN( 9, maxCollisions,       schema::Counter<1117, schema::Unit::entity>)            \
    COLUMN(10, receiveOverruns,     schema::Counter<1118, schema::Unit::entity>)            \
    COLUMN(11, heartbeatFailure,    schema::Counter<1121, schema::Unit::entity>)            \
    COLUMN(12, carrierLost,         schema::Counter<1119, schema::Unit::entity>)            \
    COLUMN(13, lateCollisions,      schema::Counter<1120, schema::Unit::entity>)
    KETSTATS_COLUMNS(CGlobalErrorsStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

// What a filter of the host's accepts and rejects; worked out in snapshots.
class KETSTATS_API CGlobalFilterStat : public schema::CUnfilteredContainerStat
{
public:
    CGlobalFilterStat(CBaseStat * theParent, unsigned short theId);
    static CStructStatDescription const & groupDescription();

    // clang-format off
#define COLUMNS(COLUMN)                                                                     \
    COLUMN( 1, filteredFrames,       schema::Counter<1123, schema::Unit::frame>)            \
    COLUMN( 2, acceptedFrames,       schema::Counter<1124, schema::Unit::frame>)            \
    COLUMN( 3, rejectedFrames,       schema::Counter<1125, schema::Unit::frame>)            \
    COLUMN( 4, acceptedInLastSample, schema::Counter<1126, schema::Unit::framesPerSecond>)  \
    COLUMN( 5, rejectedInLastSample, schema::Counter<1127, schema::Unit::framesPerSecond>)
    KETSTATS_COLUMNS(CGlobalFilterStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

} // namespace KetStats
