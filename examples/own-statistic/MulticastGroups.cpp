#include "MulticastGroups.h"

#include <memory>

namespace multicast {

CProtocolId protocolId(unsigned char high, unsigned char low)
{
    unsigned char const bytes[] = {high, low};
    CProtocolId id;
    id.Set(sizeof bytes, bytes);
    return id;
}

namespace {

// Frames of the protocol that pass the other filter. The compound owns both.
CFilter * ofProtocol(CProtocolId const & protocol, std::unique_ptr<CFilter> address)
{
    auto both = std::make_unique<CCompoundFilter>("", false);
    both->Add(new CProtocolFilter(protocol, "", false));
    both->Add(address.release());
    return both.release();
}

} // namespace

template <>
CFilter * CGroupStat<IPv4>::buildFilter() const
{
    return ofProtocol(
        protocolId(0x08, 0x00),
        std::make_unique<CIPAddrFilter>(group.get(), CIPAddrFilter::apDestination, eoEqual, "", false));
}

template <>
CFilter * CGroupStat<IPv6>::buildFilter() const
{
    return ofProtocol(protocolId(0x86, 0xDD),
                      std::make_unique<CIPv6AddrFilter>(group.get().bytes, CIPv6AddrFilter::apDestination,
                                                        eoEqual, "", false));
}

} // namespace multicast
