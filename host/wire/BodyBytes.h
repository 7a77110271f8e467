#pragma once

#include "host/wire/Protocol.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ketmon {

// Numbers in the bodies of messages are little-endian; a text has its length (2) in front.

template <std::unsigned_integral T>
void put(std::string & bytes, T value)
{
    for (std::size_t i = 0; i < sizeof value; ++i)
        bytes += static_cast<char>(static_cast<unsigned char>(value >> (8 * i)));
}

// A moment or a span, in units of 100 ns.
inline void putTicks(std::string & bytes, long long ticks)
{
    put(bytes, static_cast<std::uint64_t>(ticks));
}

// What is beyond the longest text is left out.
inline void putText(std::string & bytes, std::string_view text)
{
    text = text.substr(0, longestText);
    put(bytes, static_cast<std::uint16_t>(text.size()));
    bytes += text;
}

// Takes values off the front of a body. All throw CProtocolError where they can't.
class CBodyReader
{
public:
    explicit CBodyReader(std::string_view body) : m_rest(body) {}

    std::string_view bytes(std::size_t count)
    {
        if (count > m_rest.size())
            throw CProtocolError("a message is too short");
        std::string_view const taken = m_rest.substr(0, count);
        m_rest.remove_prefix(count);
        return taken;
    }

    template <std::unsigned_integral T>
    T get()
    {
        T value = 0;
        std::string_view const taken = bytes(sizeof value);
        for (std::size_t i = 0; i < sizeof value; ++i)
            value =
                static_cast<T>(value | static_cast<T>(T{static_cast<unsigned char>(taken[i])} << (8 * i)));
        return value;
    }

    long long ticks() { return static_cast<long long>(get<std::uint64_t>()); }

    std::string text()
    {
        std::size_t const length = get<std::uint16_t>();
        if (length > longestText)
            throw CProtocolError("a text in a message is too long");
        return std::string(bytes(length));
    }

    std::string_view rest() { return bytes(m_rest.size()); }

    bool atEnd() const { return m_rest.empty(); }

    void expectEnd() const
    {
        if (!m_rest.empty())
            throw CProtocolError("a message is too long");
    }

private:
    std::string_view m_rest;
};

} // namespace ketmon
