#include "host/support/Failure.h"
#include "host/wire/StreamSocket.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <fmt/core.h>

#include <cerrno>
#include <cstring>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ketmon {

namespace {

constexpr unsigned int allPermissions = 0777;

// While it exists, files are made with no more than these permissions.
class CPermissions
{
public:
    explicit CPermissions(unsigned int permissions) : m_before(umask(allPermissions & ~permissions)) {}
    ~CPermissions() { umask(m_before); }
    CPermissions(CPermissions const &) = delete;
    CPermissions & operator=(CPermissions const &) = delete;

private:
    mode_t m_before;
};

// Whether there is a socket that an agent left behind which is no more. Nothing waits for an agent that doesn't come to
// accept: where one is, it is there.
bool isLeftBehind(std::string const & path)
{
    struct stat about
    {};
    if (lstat(path.c_str(), &about) != 0 || !S_ISSOCK(about.st_mode))
        return false;
    asio::io_context io;
    asio::local::stream_protocol::socket socket(io, asio::local::stream_protocol());
    socket.native_non_blocking(true);
    CStreamEndpoint const endpoint = localEndpoint(path);
    return connect(socket.native_handle(), endpoint.data(), static_cast<socklen_t>(endpoint.size())) != 0 &&
           errno == ECONNREFUSED;
}

} // namespace

CStreamEndpoint localEndpoint(std::string const & path)
{
    try {
        return asio::local::stream_protocol::endpoint(path);
    } catch (boost::system::system_error const &) {
        throw CFailure(exitBadInput, fmt::format("unix:{}: the path is too long", path));
    }
}

void bindLocal(CStreamAcceptor & acceptor, std::string const & path, unsigned int permissions)
{
    CStreamEndpoint const endpoint = localEndpoint(path);
    if (isLeftBehind(path))
        unlink(path.c_str());
    CPermissions const limited(permissions);
    CErrorCode error;
    acceptor.bind(endpoint, error);
    if (error)
        throw CFailure(exitFailure, fmt::format("can't listen on unix:{}: {}", path, error.message()));
}

CPeer localPeer(CStreamSocket & socket)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(socket.native_handle(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return {"a local process", "?", true};
    // Who could end the agent as well is kept from nothing by a limit: root, which may be there for others, and the
    // agent's own user.
    bool const limited = peer.uid != 0 && peer.uid != geteuid();
    return {fmt::format("process {} of user {}", peer.pid, peer.uid), fmt::format("user {}", peer.uid),
            limited};
}

} // namespace ketmon
