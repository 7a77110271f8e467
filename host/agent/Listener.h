#pragma once

#include "host/wire/StreamSocket.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <functional>
#include <string>

namespace ketmon {

struct CListenOptions
{
    CEndpoint where;
    unsigned int permissions = 0660; // of a socket in the file system
    bool plain = false;              // where others than this machine can come
};

// Accepts connections until it is closed. Out of descriptors, it tries again in a while: what ends next may
// help.
class CListener
{
public:
    // `accepted` is called for each connection, `troubled` for each that couldn't be had or taken in, from within
    // the io_context, which must live longer. Throws CFailure: exit code 1 if it can't listen there, 2 for an
    // address that others reach where that isn't wanted.
    CListener(asio::io_context & io, CListenOptions const & options,
              std::function<void(CStreamSocket socket)> accepted,
              std::function<void(std::string const & why)> troubled);
    ~CListener();

    // Where it listens, with the port that it got.
    CEndpoint endpoint() const { return m_where; }
    bool isNear() const { return m_near; }
    // Goes on accepting, if an exception has ended that.
    void revive();
    void close();

private:
    void listen(asio::io_context & io, CListenOptions const & options);
    void accept();
    void tryAgain();

    std::function<void(CStreamSocket socket)> m_accepted;
    std::function<void(std::string const & why)> m_troubled;
    CStreamAcceptor m_acceptor;
    asio::steady_timer m_again;
    CEndpoint m_where;
    bool m_near = true;
    bool m_accepting = false; // or about to
};

} // namespace ketmon
