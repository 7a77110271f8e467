#include "tests/host/render/ReportFigures.h"

#include "host/render/ProtocolNames.h"

using namespace ketmon;

namespace test {

std::string FixedNames::service(CTransport transport, std::uint32_t number) const
{
    if (number == 22 && transport == CTransport::tcp)
        return "ssh";
    return number == 53 ? "domain" : number == 80 ? "http" : number == 443 ? "https" : "";
}

std::string FixedNames::protocol(std::uint32_t code) const
{
    return std::string(protocolName(code));
}

std::string FixedNames::ipProtocol(std::uint32_t code) const
{
    return std::string(ipProtocolName(code));
}

// By the first byte: of some captures half of the stations.
std::string FixedNames::vendor(std::string const & mac) const
{
    return mac.starts_with("00:") ? "Vendor of Zeros" : "";
}

std::string FixedNames::host(std::string const & address) const
{
    auto const found = hosts.find(address);
    return found == hosts.end() ? "" : found->second;
}

std::string part(std::string const & text, std::string const & start)
{
    std::size_t const first = ('\n' + text).find('\n' + start);
    if (first == text.npos)
        return {};
    std::size_t const end = text.find("\n\n", first);
    return text.substr(first, end == text.npos ? end : end + 1 - first);
}

} // namespace test
