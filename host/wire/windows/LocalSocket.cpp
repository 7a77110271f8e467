#include "host/support/Failure.h"
#include "host/wire/StreamSocket.h"

#include <fmt/core.h>

namespace ketmon {

CStreamEndpoint localEndpoint(std::string const & path)
{
    throw CFailure(exitBadInput, fmt::format("unix:{}: there are no such sockets on this system", path));
}

void bindLocal(CStreamAcceptor &, std::string const & path, unsigned int)
{
    localEndpoint(path);
}

CPeer localPeer(CStreamSocket &)
{
    return {"a local process", "?", false};
}

} // namespace ketmon
