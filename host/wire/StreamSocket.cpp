#include "host/wire/StreamSocket.h"

#include <boost/asio/ip/address.hpp>

#include <algorithm>
#include <cstring>

namespace ketmon {

using asio::ip::tcp;

namespace {

bool isTcp(CStreamEndpoint const & endpoint)
{
    int const family = endpoint.protocol().family();
    return family == tcp::v4().family() || family == tcp::v6().family();
}

tcp::endpoint tcpOf(CStreamEndpoint const & endpoint)
{
    tcp::endpoint result;
    std::size_t const size = std::min(endpoint.size(), result.capacity());
    std::memcpy(result.data(), endpoint.data(), size);
    result.resize(size);
    return result;
}

// One that is mapped into IPv6 is the same address.
asio::ip::address plainAddress(asio::ip::address const & address)
{
    if (address.is_v6() && address.to_v6().is_v4_mapped())
        return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6());
    return address;
}

// Who has one address of IPv6 has the whole network of it.
std::string networkOf(asio::ip::address const & address)
{
    if (!address.is_v6())
        return address.to_string();
    auto bytes = address.to_v6().to_bytes();
    std::fill(bytes.begin() + bytes.size() / 2, bytes.end(), static_cast<unsigned char>(0));
    return asio::ip::address_v6(bytes).to_string() + "/64";
}

} // namespace

CEndpoint shownEndpoint(CStreamEndpoint const & endpoint)
{
    if (isTcp(endpoint)) {
        tcp::endpoint const shown = tcpOf(endpoint);
        return {shown.address().to_string(), shown.port(), false};
    }
    return {"", 0, true};
}

bool isNear(CStreamEndpoint const & endpoint)
{
    return !isTcp(endpoint) || plainAddress(tcpOf(endpoint).address()).is_loopback();
}

CPeer peerOf(CStreamSocket & socket)
{
    CErrorCode error;
    CStreamEndpoint const peer = socket.remote_endpoint(error);
    if (error)
        return {"?", "?", false};
    if (!isTcp(peer))
        return localPeer(socket);
    auto const address = plainAddress(tcpOf(peer).address());
    return {CEndpoint{address.to_string(), tcpOf(peer).port()}.toString(), networkOf(address),
            !address.is_loopback()};
}

void tune(CStreamSocket & socket)
{
    CErrorCode ignored;
    socket.set_option(asio::socket_base::keep_alive(true), ignored);
    socket.set_option(tcp::no_delay(true), ignored);
}

} // namespace ketmon
