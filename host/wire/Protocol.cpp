#include "host/wire/Protocol.h"

#include "host/support/Escaped.h"
#include "host/wire/BodyBytes.h"
#include "host/wire/Strangers.h"

#include <fmt/core.h>

#include <algorithm>

namespace ketmon {

namespace {

constexpr std::size_t lengthSize = 4;
// Enough of a stranger's first bytes to see what it is.
constexpr std::size_t shownStart = 16;
constexpr char lastingMark = '\0';

std::string strangeness(std::string_view start)
{
    std::string const stranger = strangerOf(start);
    return fmt::format("{} is at the other end, which began with '{}'",
                       stranger.empty() ? "neither an agent nor a console of ketmon's" : stranger,
                       shownText(start.substr(0, shownStart)));
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

std::string shownText(std::string_view text)
{
    std::string shown = escaped(text.substr(0, longestText));
    if (text.size() > longestText)
        shown += "...";
    return shown;
}

void CMessageReader::feed(std::string_view bytes)
{
    m_bytes.erase(0, m_taken);
    m_taken = 0;
    m_bytes.append(bytes);
}

std::string CRefusal::body() const
{
    std::string body = text.substr(0, longestText - (lasting ? 1 : 0));
    // A text that happens to end so lasts no longer for it.
    while (!body.empty() && body.back() == lastingMark)
        body.pop_back();
    if (lasting)
        body += lastingMark;
    return body;
}

CRefusal CRefusal::parsed(std::string_view body)
{
    bool const lasting = !body.empty() && body.back() == lastingMark;
    return {std::string(body.substr(0, body.size() - (lasting ? 1 : 0))), lasting};
}

bool CMessageReader::next(CMessage & message)
{
    std::string_view const bytes = rest();
    if (bytes.size() < lengthSize)
        return false;
    std::size_t const length = CBodyReader(bytes).get<std::uint32_t>();
    if (length == 0 || length > m_largest) {
        std::string const announced =
            fmt::format("a message of {} bytes is announced, and 1 to {} are allowed", length, m_largest);
        throw CProtocolError(m_begun ? announced : strangeness(bytes));
    }
    bool const refused =
        bytes.size() > lengthSize && static_cast<MessageType>(bytes[lengthSize]) == MessageType::refusal;
    if (refused && length > 1 + longestText)
        throw CProtocolError(
            fmt::format("a refusal of {} bytes is announced, and {} are allowed", length - 1, longestText));
    if (bytes.size() - lengthSize < length)
        return false;
    m_begun = true;
    message.type = static_cast<MessageType>(bytes[lengthSize]);
    message.body = bytes.substr(lengthSize + 1, length - 1);
    m_taken += lengthSize + length;
    return true;
}

std::size_t CMessageReader::begun() const
{
    std::string_view const bytes = rest();
    return bytes.size() < lengthSize ? bytes.size() : lengthSize + CBodyReader(bytes).get<std::uint32_t>();
}

} // namespace ketmon
