#pragma once

#include "host/capture/LinkType.h"
#include "host/wire/Protocol.h"

#include "ketstats/schema/TableLimits.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the two ends tell each other first.
//
//     start      magic (4), version (2), fingerprint (8)
//     hello      start, count (2), { length (1), identifier }, [fingerprint of the second tree (8)]
//     welcome    start, milliseconds between two samples (4), milliseconds of silence before a heartbeat (4),
//                identity (16), epoch (8), groups (4), errors (4),
//                kind (1), link type (2), bits per second of the link (8), limits (10 times 4),
//                name of the source, name of the agent, [limits of the second tree (7 times 4)]
//
// Whoever knows the second tree says so at the end of its hello, and hears of it at the end of the welcome. Others see
// neither.
//
// Magic and version keep their places in every version, so that any two ends can tell whether they match.
namespace ketmon {

struct CHello
{
    std::uint16_t version = protocolVersion;
    std::uint64_t fingerprint = 0;
    std::vector<std::string> selection;
    std::optional<std::uint64_t> extendedFingerprint; // of the second tree, where that is known

    std::string body() const;
    // Throws CProtocolError if it is none of this version, or `own`, the fingerprint of this end, is another.
    static CHello parsed(std::string_view body, std::uint64_t own);
};

// By this an agent is known wherever it is met, whatever it is called.
using CIdentity = std::array<unsigned char, 16>;

enum class SourceKind : unsigned char
{
    file = 1,
    interface = 2,
};

// Milliseconds of silence before a heartbeat. An end that went by less would do little else, or give up on a peer
// whose system was busy; by more it would hold on to one that is gone.
inline constexpr std::uint32_t shortestHeartbeat = 1000;
inline constexpr std::uint32_t longestHeartbeat = 60000;

// Of the groups that are told; those of the second tree stand above.
inline constexpr std::bitset<32> groupsOfFirstTree(0xFFFF);

struct CWelcome
{
    std::uint16_t version = protocolVersion;
    std::uint64_t fingerprint = 0;
    std::uint32_t interval = 0;  // milliseconds between two samples
    std::uint32_t heartbeat = 0; // milliseconds
    CIdentity identity{};
    long long epoch = 0;    // when the agent began to count, in ticks
    std::bitset<32> groups; // that are counted: bit 5 is 1.5, bit 18 is 2.2
    std::bitset<32> errors; // counters that the adapter has figures for: bit 4 is 1.2.4
    SourceKind kind = SourceKind::file;
    std::uint16_t linkType = linktype::ethernet; // by its number in capture files
    std::uint64_t linkSpeed = 0;                 // bits per second; 0 if it isn't known
    KetStats::CTableLimits limits;
    std::string source; // path or interface
    std::string agent;
    bool extended = false; // whether the second tree is told of, too

    std::string body() const;
    // Throws CProtocolError as CHello does, and for limits that no tree can have. A heartbeat is taken for the nearest
    // that makes sense.
    static CWelcome parsed(std::string_view body, std::uint64_t own);
};

} // namespace ketmon
