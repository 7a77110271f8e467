#pragma once

#include "host/capture/CaptureSummary.h"

#include "ketstats/ketstats.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ketmon {

// A packed snapshot of a recording, and what must be known of it beside its bytes.
//
// 1. Number 0 of a recording is a full one; the others say what changed since the number before.
// 2. The summary, the ledgers and the times are those of the whole recording up to the snapshot.
struct CSavedSnapshot
{
    std::uint64_t recording = 0; // made at random; all snapshots of a recording share it
    std::uint32_t sequence = 0;
    std::string name;         // of what was counted
    long long zero = 0;       // this and the next three in units of 100 ns since 1601-01-01 UTC
    long long previous = 0;   // the sample before; of the first the zero point
    long long time = 0;       // when it was sampled
    CCaptureSummary summary;  // without faults
    std::uint32_t groups = 0; // bit 4 is that of 1.4, bit 18 of 2.2: the groups that were counted
    bool filtering = false;   // whether frames were tested against a filter
    std::uint32_t linkType = linktype::ethernet;
    std::uint64_t linkBits = 0; // per second; 0 if that wasn't known
    KetStats::CTableLimits limits;
    KetStats::CLedgers ledgers;
    bool extended = true; // whether the second tree was counted, too
    std::string bytes;    // packed

    bool isFull() const { return sequence == 0; }
};

// Bytes that aren't those of a saved snapshot, or that this program can't show; what is wrong, in a few words.
class CBadSavedSnapshot : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// The form of a file, numbers little-endian:
//
//      0  "ketmon", 0x1A, version of the form, 2
//      8  length of all in front of the packed bytes, 4       12  length of the packed bytes, 4
//     16  fingerprint of the descriptions, 8                  24  recording, 8
//     32  sequence, 4                                         36  flags, 2: 1 filtering, 2 first and last
//     38  link type as files have it, 2, of which 0 and 1 change places: Ethernet is 0
//     40  groups, 4                                           44  length of the name, 4
//     48  bits of the link, 8                                 56  zero, previous, time, 8 each
//     80  frames, bytes, captured bytes, first, last, 8 each
//    120  limits, 4 each                                      160  ledgers, 5 times 8 each
//    560  fingerprint of the second tree, 8                   568  its limits, 4 each
//    596  its ledgers                                         876  name, and then the packed bytes
//
// Without the second tree it is version 1, the name of which stands at 560.
std::string encoded(CSavedSnapshot const & snapshot);

// Whether a file that begins with these bytes, so many of them, has such a header.
inline constexpr std::size_t savedSnapshotStart = 7;
bool startsSavedSnapshot(std::string_view bytes);

// How long a file is by its header, of which these are the first bytes, so many of them; of fewer, that is all.
inline constexpr std::size_t savedSnapshotLengths = 16;
std::size_t savedSnapshotLength(std::string_view start);

// Takes a file apart of which these are all bytes. Throws CBadSavedSnapshot. The packed bytes aren't looked at.
CSavedSnapshot parsedSavedSnapshot(std::string_view bytes);

} // namespace ketmon
