#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

// How agent and console talk; docs/protocol.md has the whole story. All numbers are little-endian.
//
//     message    length (4) of what follows, type (1), body
//
// The bodies of hello and welcome are in Greeting.h, those of full, delta and end in SampleMessage.h, that of a
// refusal is below, and a heartbeat has none.
namespace ketmon {

enum class MessageType : unsigned char
{
    hello = 1,     // console: who it is, what it wants to see
    welcome = 2,   // agent: who it is
    refusal = 3,   // agent: why it won't serve this console; the last message
    full = 4,      // agent: all that is selected
    delta = 5,     // agent: what changed since the message before
    end = 6,       // agent: the capture is over, and why; the last message
    heartbeat = 7, // either: still there, and nothing to say
};

struct CMessage
{
    MessageType type{};
    std::string body;
};

inline constexpr std::uint32_t protocolMagic = 0x4D54454B; // "KETM" as bytes
inline constexpr std::uint16_t protocolVersion = 2;

// The largest lengths that either side accepts; a console so much only once it was welcomed.
inline constexpr std::size_t largestToAgent = std::size_t{64} << 10;
inline constexpr std::size_t largestGreeting = std::size_t{64} << 10;
inline constexpr std::size_t largestToConsole = std::size_t{64} << 20;
// Of a name, a refusal, or the reason of an end, in bytes.
inline constexpr std::size_t longestText = 1024;

// What the other side sent makes no sense; nothing behind it can be understood either.
class CProtocolError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

std::string encoded(MessageType type, std::string_view body);

// A text of the other side's as it may be shown: escaped, on one line, and short.
std::string shownText(std::string_view text);

// The body of a refusal, in all versions:
//
//     text, 0 (1) if it lasts
struct CRefusal
{
    std::string text;
    // It would be the same another time, for as long as neither end is another one.
    bool lasting = false;

    // As much of the text as there is room for.
    std::string body() const;
    static CRefusal parsed(std::string_view body);
};

// Takes a stream of bytes apart into messages, however it was cut on its way. What it holds is bounded by the
// largest length and by what is fed at a time.
class CMessageReader
{
public:
    explicit CMessageReader(std::size_t largest) : m_largest(largest) {}

    // Holds from the next message on.
    void allow(std::size_t largest) { m_largest = largest; }

    void feed(std::string_view bytes);
    // Takes the next whole message; false while there is none. Throws CProtocolError for a length of 0 or
    // above the largest, and for a refusal that is longer than one may be, as soon as it is known. If that is how the
    // stream begins, the error names who speaks so, as far as it is known.
    bool next(CMessage & message);

    // The bytes of a message that has come in part, those of its length included as far as they are known; 0
    // between two messages.
    std::size_t begun() const;

private:
    // What was fed and not yet taken.
    std::string_view rest() const { return std::string_view(m_bytes).substr(m_taken); }

    std::size_t m_largest;
    std::string m_bytes;
    std::size_t m_taken = 0; // of those; they go with the next feed, all at once
    bool m_begun = false;    // a message was understood
};

} // namespace ketmon
