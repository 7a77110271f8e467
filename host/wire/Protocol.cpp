#include "host/wire/Protocol.h"

#include <fmt/core.h>

#include <concepts>

namespace ketmon {

namespace {

constexpr std::size_t lengthSize = 4;

template <std::unsigned_integral T>
void put(std::string & bytes, T value)
{
    for (std::size_t i = 0; i < sizeof value; ++i)
        bytes += static_cast<char>(static_cast<unsigned char>(value >> (8 * i)));
}

// Takes values off the front of a body.
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

    void expectEnd() const
    {
        if (!m_rest.empty())
            throw CProtocolError("a message is too long");
    }

private:
    std::string_view m_rest;
};

std::string greetingStart(CGreeting const & greeting)
{
    std::string body;
    put(body, protocolMagic);
    put(body, greeting.version);
    put(body, greeting.fingerprint);
    return body;
}

CGreeting parsedStart(CBodyReader & body, std::uint64_t own)
{
    if (body.get<std::uint32_t>() != protocolMagic)
        throw CProtocolError("the greeting isn't one of ketmon's");
    CGreeting greeting;
    greeting.version = body.get<std::uint16_t>();
    if (greeting.version != protocolVersion)
        throw CProtocolError(fmt::format("the other end speaks version {} of the protocol, this one {}",
                                         greeting.version, protocolVersion));
    greeting.fingerprint = body.get<std::uint64_t>();
    if (greeting.fingerprint != own)
        throw CProtocolError(
            fmt::format("the other end was built with other statistics (fingerprint {:016x}, here {:016x})",
                        greeting.fingerprint, own));
    return greeting;
}

} // namespace

std::string encoded(MessageType type, std::string_view body)
{
    std::string bytes;
    bytes.reserve(lengthSize + 1 + body.size());
    put(bytes, static_cast<std::uint32_t>(body.size() + 1));
    put(bytes, static_cast<unsigned char>(type));
    return bytes.append(body);
}

bool CMessageReader::next(CMessage & message)
{
    if (m_bytes.size() < lengthSize)
        return false;
    std::size_t const length = CBodyReader(m_bytes).get<std::uint32_t>();
    if (length == 0 || length > m_largest)
        throw CProtocolError(
            fmt::format("a message of {} bytes is announced, and 1 to {} are allowed", length, m_largest));
    if (m_bytes.size() - lengthSize < length)
        return false;
    message.type = static_cast<MessageType>(m_bytes[lengthSize]);
    message.body = m_bytes.substr(lengthSize + 1, length - 1);
    m_bytes.erase(0, lengthSize + length);
    return true;
}

std::string CGreeting::hello() const
{
    std::string body = greetingStart(*this);
    put(body, static_cast<std::uint16_t>(selection.size()));
    for (std::string const & identifier : selection) {
        put(body, static_cast<unsigned char>(identifier.size()));
        body += identifier;
    }
    return body;
}

std::string CGreeting::welcome() const
{
    std::string body = greetingStart(*this);
    put(body, interval);
    return body;
}

CGreeting CGreeting::parsedHello(std::string_view body, std::uint64_t own)
{
    CBodyReader reader(body);
    CGreeting greeting = parsedStart(reader, own);
    for (unsigned int count = reader.get<std::uint16_t>(); count > 0; --count)
        greeting.selection.emplace_back(reader.bytes(reader.get<unsigned char>()));
    reader.expectEnd();
    return greeting;
}

CGreeting CGreeting::parsedWelcome(std::string_view body, std::uint64_t own)
{
    CBodyReader reader(body);
    CGreeting greeting = parsedStart(reader, own);
    greeting.interval = reader.get<std::uint32_t>();
    reader.expectEnd();
    return greeting;
}

std::string encodedEnd(std::uint64_t frames)
{
    std::string body;
    put(body, frames);
    return body;
}

std::uint64_t parsedEnd(std::string_view body)
{
    CBodyReader reader(body);
    std::uint64_t const frames = reader.get<std::uint64_t>();
    reader.expectEnd();
    return frames;
}

} // namespace ketmon
