#pragma once

#include <cstdint>
#include <string>

namespace ketmon {

enum class CTransport
{
    tcp,
    udp,
};

// What the system's database of services calls a port; empty where it has no name for it, or where there is
// no database. May be called on any thread.
std::string systemService(CTransport transport, std::uint32_t port);

} // namespace ketmon
