#include "tests/host/OwnNetwork.h"

#include <thread>

#include <fcntl.h>
#include <linux/ethtool.h>
#include <linux/if_tun.h>
#include <linux/rtnetlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace test {

namespace {

// Asks the system something about an interface, or tells it.
template <class Fill>
bool ask(std::string const & name, unsigned long what, Fill const & fill)
{
    int const handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    name.copy(request.ifr_name, sizeof request.ifr_name - 1);
    fill(request);
    bool const done = handle >= 0 && ioctl(handle, what, &request) == 0;
    close(handle);
    return done;
}

bool setUp(std::string const & name, bool up)
{
    return ask(name, SIOCSIFFLAGS, [up](ifreq & request) { request.ifr_flags = up ? IFF_UP : 0; });
}

} // namespace

bool inOwnNetwork(std::function<void()> const & body)
{
    bool permitted = false;
    std::thread([&] {
        permitted = unshare(CLONE_NEWNET) == 0 && setUp("lo", true);
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

PassingInterface::PassingInterface(std::string const & name, Kind kind)
    : m_name(name),
      m_handle(open("/dev/net/tun", O_RDWR | O_CLOEXEC))
{
    ifreq request{};
    name.copy(request.ifr_name, sizeof request.ifr_name - 1);
    request.ifr_flags = static_cast<short>((kind == ethernet ? IFF_TAP : IFF_TUN) | IFF_NO_PI);
    if (m_handle >= 0 && ioctl(m_handle, TUNSETIFF, &request) != 0)
        remove();
}

void PassingInterface::remove()
{
    if (m_handle >= 0)
        close(m_handle);
    m_handle = -1;
}

bool PassingInterface::setUp(bool up) const
{
    return test::setUp(m_name, up);
}

bool PassingInterface::rename(std::string const & name)
{
    bool const renamed = ask(m_name, SIOCSIFNAME, [&](ifreq & request) {
        name.copy(request.ifr_newname, sizeof request.ifr_newname - 1);
    });
    if (renamed)
        m_name = name;
    return renamed;
}

bool PassingInterface::setDriverValue(unsigned int command, unsigned int value) const
{
    ethtool_value question{command, value};
    return ask(m_name, SIOCETHTOOL,
               [&](ifreq & request) { request.ifr_data = reinterpret_cast<char *>(&question); });
}

bool PassingInterface::send(std::string const & frame) const
{
    return write(m_handle, frame.data(), frame.size()) == static_cast<ssize_t>(frame.size());
}

int PassingInterface::promiscuity() const
{
    struct
    {
        nlmsghdr header;
        ifinfomsg about;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETLINK;
    request.header.nlmsg_flags = NLM_F_REQUEST;
    request.about.ifi_index = static_cast<int>(if_nametoindex(m_name.c_str()));

    int const handle = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    alignas(nlmsghdr) char answer[16384] = {};
    bool const asked = ::send(handle, &request, sizeof request, 0) > 0;
    ssize_t const got = asked ? recv(handle, answer, sizeof answer, 0) : -1;
    close(handle);
    auto const * const header = reinterpret_cast<nlmsghdr const *>(answer);
    if (got < static_cast<ssize_t>(sizeof *header) || header->nlmsg_type != RTM_NEWLINK)
        return -1;
    auto const * attribute = IFLA_RTA(static_cast<ifinfomsg const *>(NLMSG_DATA(header)));
    for (auto left = static_cast<unsigned int>(IFLA_PAYLOAD(header)); RTA_OK(attribute, left);
         attribute = RTA_NEXT(attribute, left))
        if (attribute->rta_type == IFLA_PROMISCUITY)
            return *static_cast<int const *>(RTA_DATA(attribute));
    return -1;
}

} // namespace test
