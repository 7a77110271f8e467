#pragma once

#include "host/wire/Greeting.h"
#include "host/wire/Protocol.h"
#include "host/wire/SampleMessage.h"

#include <algorithm>
#include <string>
#include <string_view>

// What must hold for any bytes that an agent or a console is sent. The fuzz target and the tests share it.
namespace fuzz {

constexpr std::uint64_t ownFingerprint = 0x0123456789ABCDEF;

// The messages in the bytes, encoded again, and whether reading went on to the end.
struct CRead
{
    std::string messages;
    bool damaged = false;
};

// Reads the bytes in pieces of that size.
inline CRead readMessages(std::string_view bytes, std::size_t piece)
{
    CRead read;
    ketmon::CMessageReader reader(ketmon::largestToAgent);
    ketmon::CMessage message;
    try {
        for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
            reader.feed(bytes.substr(0, piece));
            while (reader.next(message))
                read.messages += encoded(message.type, message.body);
        }
    } catch (ketmon::CProtocolError const &) {
        read.damaged = true;
    }
    return read;
}

// A sample written again reads the same. Its bytes may differ: a ledger may be told without need.
inline std::string rewrittenSample(std::string_view body, bool bothTrees)
{
    std::string_view packed;
    ketmon::CSampleHead const head = ketmon::CSampleHead::parsed(body, {}, packed, bothTrees);
    return head.body({}, packed);
}

// A welcome but for its heartbeat, which is taken for the nearest that makes sense.
inline std::string withoutHeartbeat(std::string_view welcome)
{
    constexpr std::size_t offset = 18;
    return std::string(welcome.substr(0, offset)).append(welcome.substr(offset + sizeof(std::uint32_t)));
}

// A body that is taken for one of its type means what it says: written again it is the same.
inline bool bodiesAreUnderstood(std::string_view body)
{
    bool understood = true;
    auto const check = [&](auto const & same) {
        try {
            understood = understood && same();
        } catch (ketmon::CProtocolError const &) {
        }
    };
    check([&] { return ketmon::CHello::parsed(body, ownFingerprint).body() == body; });
    check([&] {
        std::string const rewritten = ketmon::CWelcome::parsed(body, ownFingerprint).body();
        return withoutHeartbeat(rewritten) == withoutHeartbeat(body);
    });
    check([&] { return ketmon::CEnd::parsed(body).body() == body; });
    for (bool const bothTrees : {false, true})
        check([&] {
            std::string const sample = rewrittenSample(body, bothTrees);
            return rewrittenSample(sample, bothTrees) == sample;
        });
    return understood;
}

// Empty if all is well, otherwise what should have held.
inline std::string checkMessages(std::string_view bytes)
{
    CRead const whole = readMessages(bytes, bytes.size() + 1);
    CRead const single = readMessages(bytes, 1);
    if (whole.messages != single.messages || whole.damaged != single.damaged)
        return "however bytes are cut, they are the same messages";
    if (bytes.substr(0, whole.messages.size()) != whole.messages)
        return "messages are what was sent";
    if (!bodiesAreUnderstood(bytes))
        return "a body that is understood reads the same when it is written";
    return {};
}

} // namespace fuzz
