#include "host/support/Services.h"

#include <cstring>
#include <map>
#include <utility>

#include <arpa/inet.h>
#include <netdb.h>

namespace ketmon {

namespace {

using CServices = std::map<std::pair<CTransport, std::uint32_t>, std::string>;

// The whole database once: a question for a single port would read the file anew. Of several names of a port
// the first is the one that the system itself would give.
CServices loadedServices()
{
    CServices services;
    setservent(1);
    while (servent const * const entry = getservent()) {
        bool const tcp = std::strcmp(entry->s_proto, "tcp") == 0;
        if (!tcp && std::strcmp(entry->s_proto, "udp") != 0)
            continue;
        std::uint32_t const port = ntohs(static_cast<std::uint16_t>(entry->s_port));
        services.try_emplace({tcp ? CTransport::tcp : CTransport::udp, port}, entry->s_name);
    }
    endservent();
    return services;
}

} // namespace

std::string systemService(CTransport transport, std::uint32_t port)
{
    static CServices const services = loadedServices();
    auto const found = services.find({transport, port});
    return found == services.end() ? "" : found->second;
}

} // namespace ketmon
