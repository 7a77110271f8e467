#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// How agent and console talk; docs/protocol.md has the whole story. All numbers are little-endian.
//
//     message    length (4) of what follows, type (1), body
//     hello      magic (4), version (2), fingerprint (8), count (2), { length (1), identifier }
//     welcome    magic (4), version (2), fingerprint (8), milliseconds between two samples (4)
//     refusal    text
//     full, delta    a packed snapshot
//     end        frames that the agent counted (8)
namespace ketmon {

enum class MessageType : unsigned char
{
    hello = 1,   // console: who it is, what it wants to see
    welcome = 2, // agent: who it is
    refusal = 3, // agent: why it won't serve this console; the last message
    full = 4,    // agent: all that is selected
    delta = 5,   // agent: what changed since the message before
    end = 6,     // agent: the capture is over; the last message
};

struct CMessage
{
    MessageType type{};
    std::string body;
};

inline constexpr std::uint32_t protocolMagic = 0x4D54454B; // "KETM" as bytes
inline constexpr std::uint16_t protocolVersion = 1;

// The largest lengths that either side accepts.
inline constexpr std::size_t largestToAgent = std::size_t{64} << 10;
inline constexpr std::size_t largestToConsole = std::size_t{64} << 20;

// What the other side sent makes no sense; nothing behind it can be understood either.
class CProtocolError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

std::string encoded(MessageType type, std::string_view body);

// Takes a stream of bytes apart into messages, however it was cut on its way. What it holds is bounded by the
// largest length and by what is fed at a time.
class CMessageReader
{
public:
    explicit CMessageReader(std::size_t largest) : m_largest(largest) {}

    void feed(std::string_view bytes) { m_bytes.append(bytes); }
    // Takes the next whole message; false while there is none. Throws CProtocolError for a length of 0 or
    // above the largest, as soon as it is known.
    bool next(CMessage & message);

private:
    std::size_t m_largest;
    std::string m_bytes;
};

// The body of hello and welcome. Magic and version keep their places in every version, so that any two ends
// can tell whether they match.
struct CGreeting
{
    std::uint16_t version = protocolVersion;
    std::uint64_t fingerprint = 0;
    std::vector<std::string> selection; // of a hello
    std::uint32_t interval = 0;         // of a welcome, in milliseconds

    std::string hello() const;
    std::string welcome() const;

    // Take a body apart. Throw CProtocolError if it isn't one of this version, or if `own`, which is the
    // fingerprint of this end, is another one than its own.
    static CGreeting parsedHello(std::string_view body, std::uint64_t own);
    static CGreeting parsedWelcome(std::string_view body, std::uint64_t own);
};

std::string encodedEnd(std::uint64_t frames);
// Throws CProtocolError.
std::uint64_t parsedEnd(std::string_view body);

} // namespace ketmon
