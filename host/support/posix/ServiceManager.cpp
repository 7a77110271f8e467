#include "host/support/ServiceManager.h"

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ketmon {

namespace {

std::string_view environment(char const * name)
{
    char const * const value = std::getenv(name);
    return value ? value : "";
}

// A socket that is connected to the one of that name, where "@" at its start stands for the abstract names of
// Linux; -1 if there is none. It stays as it is for the life of the service, which may lose the right to make one.
int connectedTo(std::string_view name)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.size() < 2 || (name[0] != '/' && name[0] != '@') || name.size() >= sizeof address.sun_path)
        return -1;
    std::memcpy(address.sun_path, name.data(), name.size());
    if (name[0] == '@')
        address.sun_path[0] = '\0';
    // The length tells where an abstract name ends.
    auto const length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    int const handle = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (handle >= 0 && connect(handle, reinterpret_cast<sockaddr const *>(&address), length) == 0)
        return handle;
    if (handle >= 0)
        close(handle);
    return -1;
}

std::optional<long long> number(std::string_view text)
{
    long long value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value <= 0)
        return {};
    return value;
}

} // namespace

// Other marks of a manager are inherited by all that a session of a person's starts, in a terminal too.
bool isService()
{
    return !environment("NOTIFY_SOCKET").empty() ||
           number(environment("SYSTEMD_EXEC_PID")) == static_cast<long long>(getpid());
}

CServiceManager::CServiceManager() : m_socket(connectedTo(environment("NOTIFY_SOCKET")))
{
    if (m_socket < 0)
        return;
    // The variables are inherited by whatever a service starts; only the process that is named is watched.
    std::string_view const watched = environment("WATCHDOG_PID");
    if (!watched.empty() && number(watched) != static_cast<long long>(getpid()))
        return;
    if (std::optional<long long> const most = number(environment("WATCHDOG_USEC")))
        m_watchdog = std::chrono::microseconds(*most / 2);
}

CServiceManager::~CServiceManager()
{
    if (m_socket >= 0)
        close(m_socket);
}

void CServiceManager::ready()
{
    send("READY=1");
}

void CServiceManager::alive()
{
    send("WATCHDOG=1");
}

void CServiceManager::status(std::string_view text)
{
    // A line's end is the message's own mark between two assignments.
    text = text.substr(0, text.find('\n'));
    if (text == m_status)
        return;
    try {
        m_status = text;
        send("STATUS=" + m_status);
    } catch (std::bad_alloc const &) {
        // The next one may have room.
    }
}

void CServiceManager::stopping()
{
    send("STOPPING=1");
}

void CServiceManager::send(std::string const & message) const
{
    if (m_socket >= 0)
        static_cast<void>(::send(m_socket, message.data(), message.size(), MSG_NOSIGNAL));
}

} // namespace ketmon
