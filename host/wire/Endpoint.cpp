#include "host/wire/Endpoint.h"

#include "host/support/Failure.h"

#include <fmt/core.h>

#include <charconv>
#include <string_view>

namespace ketmon {

namespace {

constexpr std::string_view localPrefix = "unix:";

} // namespace

CEndpoint CEndpoint::parsed(std::string const & text)
{
    CFailure const failure(
        exitBadInput,
        fmt::format("'{}' is neither an ADDRESS:PORT such as {} nor unix:PATH", text, usualEndpoint));
    if (text.starts_with(localPrefix) && text.size() > localPrefix.size())
        return {text.substr(localPrefix.size()), 0, true};
    CEndpoint endpoint{text, usualPort};
    std::size_t portAt = text.rfind(':');
    if (!text.empty() && text.front() == '[') {
        std::size_t const close = text.find(']');
        if (close == text.npos || (close + 1 < text.size() && text[close + 1] != ':'))
            throw failure;
        endpoint.address = text.substr(1, close - 1);
        portAt = close + 1 < text.size() ? close + 1 : text.npos;
    } else {
        if (text.find(':') != portAt)
            throw failure; // an IPv6 address without its brackets
        endpoint.address = text.substr(0, portAt);
    }
    if (endpoint.address.empty())
        throw failure;
    if (portAt != text.npos) {
        char const * const end = text.data() + text.size();
        auto const [stop, error] = std::from_chars(text.data() + portAt + 1, end, endpoint.port);
        if (error != std::errc() || stop != end)
            throw failure;
    }
    return endpoint;
}

std::string CEndpoint::toString() const
{
    if (local)
        return std::string(localPrefix) + address;
    return address.find(':') == address.npos ? fmt::format("{}:{}", address, port)
                                             : fmt::format("[{}]:{}", address, port);
}

} // namespace ketmon
