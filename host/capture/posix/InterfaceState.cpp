#include "host/capture/posix/InterfaceState.h"

#include "host/support/Failure.h"

#include <fmt/core.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ketmon {

namespace {

constexpr std::uint64_t bitsPerMegabit = 1000000;

ifreq requestFor(std::string const & name)
{
    ifreq request{};
    name.copy(request.ifr_name, sizeof request.ifr_name - 1);
    return request;
}

// A text of the system's, which fills its field at most.
template <std::size_t Size>
std::string textOf(char const (&field)[Size])
{
    return {field, strnlen(field, Size)};
}

} // namespace

CInterfaceState::CInterfaceState() : m_socket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    if (m_socket < 0)
        throw CFailure(exitFailure, fmt::format("interfaces can't be looked at: {}", std::strerror(errno)));
}

CInterfaceState::~CInterfaceState()
{
    close(m_socket);
}

std::string CInterfaceState::nameOf(unsigned int index) const
{
    ifreq request{};
    request.ifr_ifindex = static_cast<int>(index);
    return ioctl(m_socket, SIOCGIFNAME, &request) == 0 ? textOf(request.ifr_name) : "";
}

unsigned int CInterfaceState::flags(std::string const & name) const
{
    ifreq request = requestFor(name);
    return ioctl(m_socket, SIOCGIFFLAGS, &request) == 0 ? static_cast<unsigned short>(request.ifr_flags) : 0;
}

bool CInterfaceState::isUp(std::string const & name) const
{
    return (flags(name) & IFF_UP) != 0;
}

std::optional<unsigned int> CInterfaceState::index(std::string const & name) const
{
    ifreq request = requestFor(name);
    if (ioctl(m_socket, SIOCGIFINDEX, &request) != 0)
        return {};
    return static_cast<unsigned int>(request.ifr_ifindex);
}

std::optional<unsigned int> CInterfaceState::hardware(std::string const & name) const
{
    ifreq request = requestFor(name);
    if (ioctl(m_socket, SIOCGIFHWADDR, &request) != 0)
        return {};
    return request.ifr_hwaddr.sa_family;
}

bool CInterfaceState::askDriver(std::string const & name, void * question) const
{
    ifreq request = requestFor(name);
    request.ifr_data = static_cast<char *>(question);
    return ioctl(m_socket, SIOCETHTOOL, &request) == 0;
}

std::optional<std::uint32_t> CInterfaceState::driverValue(std::string const & name,
                                                          std::uint32_t command) const
{
    ethtool_value value{command, 0};
    if (!askDriver(name, &value))
        return {};
    return value.data;
}

std::optional<std::uint64_t> CInterfaceState::bitsPerSecond(std::string const & name) const
{
    ethtool_cmd settings{};
    settings.cmd = ETHTOOL_GSET;
    if (!askDriver(name, &settings))
        return {};
    std::uint32_t const megabits = ethtool_cmd_speed(&settings);
    // So it says that it doesn't know.
    if (megabits == 0 || megabits == static_cast<std::uint32_t>(SPEED_UNKNOWN) || megabits == 0xFFFF)
        return {};
    return megabits * bitsPerMegabit;
}

std::string CInterfaceState::driver(std::string const & name) const
{
    ethtool_drvinfo info{};
    info.cmd = ETHTOOL_GDRVINFO;
    return askDriver(name, &info) ? textOf(info.driver) : "";
}

} // namespace ketmon
