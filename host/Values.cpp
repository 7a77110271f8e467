#include "host/Values.h"

#include <fmt/core.h>

#include <cstring>

namespace ketmon {

using namespace KetStats;

std::string textOf(CBaseStat const & stat)
{
    if (auto const * const mac = dynamic_cast<CValueStat<CMACAddrPacked> const *>(&stat))
        return hexString(mac->get().bytes.data(), 6);
    if (auto const * const ip = dynamic_cast<CValueStat<CIPAddress> const *>(&stat)) {
        auto const address = static_cast<unsigned int>(ip->get());
        if (address == 0)
            return CStringResources::instance().getString(1221);
        unsigned char octets[4];
        std::memcpy(octets, &address, sizeof octets);
        return fmt::format("{}.{}.{}.{}", octets[0], octets[1], octets[2], octets[3]);
    }
    if (auto const * const id = dynamic_cast<CValueStat<CProtocolIdPacked> const *>(&stat))
        return fmt::format("0x{:X}", static_cast<long long>(id->get()));
    return stat.getString();
}

std::vector<CBaseStat const *> rowsOf(CBaseStat const & table)
{
    auto const & container = dynamic_cast<CBaseHashedContainerStat const &>(table);
    std::vector<CBaseStat const *> rows;
    rows.reserve(container.size());
    for (unsigned int id = container.getOldestId(); id != 0; id = container.getNextNewerId(id))
        rows.push_back(container.rowById(id));
    return rows;
}

} // namespace ketmon
