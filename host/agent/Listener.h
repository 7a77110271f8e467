#pragma once

#include "host/wire/Asio.h"
#include "host/wire/Endpoint.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <functional>
#include <string>

namespace ketmon {

// Accepts connections until it is closed. Out of descriptors, it tries again in a while: what ends next may
// help.
class CListener
{
public:
    // `accepted` is called for each connection, `troubled` for each that couldn't be had, from within the
    // io_context, which must live longer. Throws CFailure if it can't listen there.
    CListener(asio::io_context & io, CEndpoint const & where,
              std::function<void(asio::ip::tcp::socket socket)> accepted,
              std::function<void(std::string const & why)> troubled);

    // Where it listens, with the port that it got.
    CEndpoint endpoint() const;
    void close();

private:
    void accept();

    std::function<void(asio::ip::tcp::socket socket)> m_accepted;
    std::function<void(std::string const & why)> m_troubled;
    asio::ip::tcp::acceptor m_acceptor;
    asio::steady_timer m_again;
};

} // namespace ketmon
