#pragma once

#include "host/wire/Asio.h"
#include "host/wire/Endpoint.h"

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <string>

// Sockets of TCP and of the file system as one kind.
namespace ketmon {

using CStream = asio::generic::stream_protocol;
using CStreamSocket = CStream::socket;
using CStreamEndpoint = CStream::endpoint;
using CStreamAcceptor = asio::basic_socket_acceptor<CStream>;

// How an address is shown.
CEndpoint shownEndpoint(CStreamEndpoint const & endpoint);

// Whether nobody but this machine is behind it.
bool isNear(CStreamEndpoint const & endpoint);

// Who is at the other end of a connection.
struct CPeer
{
    std::string name;   // for people: "192.0.2.1:54444", or "process 4711 of user 1000"
    std::string origin; // what is limited together: the address, of IPv6 the network, or the user
    bool limited =
        false; // what comes from there, together; not from this machine's address, which stands for many
};

CPeer peerOf(CStreamSocket & socket);

// For a connection that is made: dead ones are found out about, and small messages go at once.
void tune(CStreamSocket & socket);

// The address of a socket in the file system. Throws CFailure, exit code 2, for a path that is too long, and where
// there are no such sockets.
CStreamEndpoint localEndpoint(std::string const & path);

// Binds to such an address. The file gets these permissions; one that nobody listens on any more is replaced.
// Throws CFailure, exit code 1.
void bindLocal(CStreamAcceptor & acceptor, std::string const & path, unsigned int permissions);

// Who has opened the other end of such a connection, as far as the system tells.
CPeer localPeer(CStreamSocket & socket);

} // namespace ketmon
