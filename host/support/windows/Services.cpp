#include "host/support/Services.h"

#include <mutex>

#include <winsock2.h>

namespace ketmon {

namespace {

// The calls need the sockets to be up for as long as they are made.
class CSockets
{
public:
    CSockets() : m_up(WSAStartup(MAKEWORD(2, 2), &m_data) == 0) {}
    ~CSockets()
    {
        if (m_up)
            WSACleanup();
    }
    CSockets(CSockets const &) = delete;
    CSockets & operator=(CSockets const &) = delete;

    bool up() const { return m_up; }

private:
    WSADATA m_data{};
    bool m_up;
};

} // namespace

std::string systemService(CTransport transport, std::uint32_t port)
{
    static CSockets const sockets;
    static std::mutex one;
    if (!sockets.up() || port > 65535)
        return {};
    std::lock_guard const lock(one);
    servent const * const entry =
        getservbyport(htons(static_cast<u_short>(port)), transport == CTransport::tcp ? "tcp" : "udp");
    return entry ? entry->s_name : "";
}

} // namespace ketmon
