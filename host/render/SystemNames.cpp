#include "host/render/SystemNames.h"

#include "host/render/ProtocolNames.h"

namespace ketmon {

std::string CSystemNames::service(CTransport transport, std::uint32_t port) const
{
    return systemService(transport, port);
}

std::string CSystemNames::protocol(std::uint32_t code) const
{
    return std::string(protocolName(code));
}

std::string CSystemNames::ipProtocol(std::uint32_t code) const
{
    return std::string(ipProtocolName(code));
}

std::string CSystemNames::vendor(std::string const & mac) const
{
    return m_vendors(mac);
}

std::string CSystemNames::host(std::string const & address) const
{
    auto const found = m_hosts.find(address);
    return found == m_hosts.end() ? "" : found->second;
}

std::string CAskedNames::host(std::string const & address) const
{
    if (m_known.insert(address).second)
        m_hosts.push_back(address);
    return {};
}

} // namespace ketmon
