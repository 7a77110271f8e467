#pragma once

#include "host/capture/CaptureCounters.h"
#include "host/wire/Protocol.h"

#include "ketstats/schema/Ledgers.h"

#include <cstdint>
#include <string>
#include <string_view>

// What an agent goes on to say.
//
//     full, delta    sequence (8), zero point (8), moment (8), interval (8),
//                    counters that are known (1), { counter (8) },
//                    ledgers that changed (2; 4 of both trees), { rows, frames and bytes sent, frames and bytes received (8 each) },
//                    a packed snapshot
//     end            reason (1), frames that the agent counted (8), more about it
//
// Bit 0 of a set stands for the first of a kind. Counters and ledgers that are there stand in their order.
namespace ketmon {

// What goes with a packed snapshot. All of it counts from the console's zero point.
struct CSampleHead
{
    std::uint64_t sequence = 0; // 1 for the full sample, and one more with each
    long long zero = 0;         // the console's zero point, in ticks, as is the next
    long long moment = 0;       // when it was taken
    long long interval = 0;     // ticks since the sample before, or the zero point
    CCaptureCounters counters;
    KetStats::CLedgers ledgers;

    bool bothTrees = false; // as the welcome said

    // What is sent, where the other side has `known` for ledgers; those of a full sample start from nothing.
    std::string body(KetStats::CLedgers const & known, std::string_view packed) const;
    // Takes a body apart. `known` are the ledgers of this side. `packed` gets what is behind the head. Throws
    // CProtocolError.
    static CSampleHead parsed(std::string_view body, KetStats::CLedgers const & known,
                              std::string_view & packed, bool bothTrees = false);
};

enum class EndReason : unsigned char
{
    ended = 1,         // the file is over, or as many frames were counted as were asked for
    interrupted = 2,   // the agent was told to end
    interfaceGone = 3, // there is nothing left to capture from
    failed = 4,
};

struct CEnd
{
    EndReason reason = EndReason::ended;
    std::uint64_t frames = 0; // that the agent counted
    std::string text;         // more about the reason, for people; may be empty

    std::string body() const;
    // Throws CProtocolError.
    static CEnd parsed(std::string_view body);
};

} // namespace ketmon
