#include "tests/host/OwnNetwork.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

namespace test {

namespace {

bool enterOwnNetwork()
{
    if (unshare(CLONE_NEWNET) != 0)
        return false;
    int const handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::string("lo").copy(request.ifr_name, sizeof request.ifr_name - 1);
    request.ifr_flags = IFF_UP;
    bool const up = handle >= 0 && ioctl(handle, SIOCSIFFLAGS, &request) == 0;
    close(handle);
    return up;
}

} // namespace

// The network is that of a thread, and of what it starts.
bool inOwnNetwork(std::function<void()> const & body)
{
    bool permitted = false;
    std::thread([&] {
        permitted = enterOwnNetwork();
        if (permitted)
            body();
    }).join();
    return permitted;
}

void sendDatagram(unsigned short port, std::string const & bytes)
{
    int const handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sendto(handle, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>(&to), sizeof to);
    close(handle);
}

} // namespace test
