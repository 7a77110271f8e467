#include "ketstats/schema/RowFilters.h"

#include "ketstats/extended/ExtendedStatistic.h"
#include "ketstats/schema/Connections.h"
#include "ketstats/schema/GlobalStats.h"
#include "ketstats/schema/Ports.h"
#include "ketstats/schema/Stations.h"

#include <memory>
#include <string>

// How rows, and groups, describe themselves as filters. Filters are built without a description: the capture
// layer describes them.
namespace KetStats {

namespace {

using Filter = std::unique_ptr<CFilter>;

constexpr char noDescription[] = "";
constexpr bool negated = false;

constexpr char ipProtocol[] = "0800";
constexpr char arpProtocol[] = "0806";
constexpr char ipv6Protocol[] = "86DD";
constexpr unsigned char tcp = 6;
constexpr unsigned char udp = 17;
constexpr unsigned char icmpV6 = 58;

// The filters in their order; the compound owns them.
template <class... Filters>
Filter combined(CCompoundFilter::eMode mode, Filters... filters)
{
    auto compound = std::make_unique<CCompoundFilter>(noDescription, negated);
    compound->mode = mode;
    (compound->Add(filters.release()), ...);
    return compound;
}

CMACAddr addressOf(CMACAddrPacked const & packed)
{
    return CMACAddr(packed.bytes.data());
}

Filter fromStation(CMACAddrPacked const & packed)
{
    auto filter = std::make_unique<CSrcMACFilter>(noDescription, negated);
    LoadHexString(std::string(addressOf(packed)).c_str(), filter->address.bytes.data(), 6);
    return filter;
}

Filter toStation(CMACAddrPacked const & packed)
{
    return std::make_unique<CDstMACFilter>(addressOf(packed), noDescription, negated);
}

Filter atStation(CMACAddrPacked const & packed)
{
    return combined(CCompoundFilter::cmAny, fromStation(packed), toStation(packed));
}

Filter ofProtocol(CProtocolId const & id)
{
    return std::make_unique<CProtocolFilter>(id, noDescription, negated);
}

Filter ofProtocol(char const * hexText)
{
    CProtocolId id;
    LoadHexString(hexText, id.bytes.data(), CProtocolId::size);
    return ofProtocol(id);
}

Filter ofSubprotocol(unsigned char number)
{
    return std::make_unique<CIPSubprotocolFilter>(number, noDescription, negated);
}

Filter ofAddress(CIPAddress const & address, CIPAddrFilter::ePosition position)
{
    return std::make_unique<CIPAddrFilter>(address, position, eoEqual, noDescription, negated);
}

Filter ofIPv6Protocol(unsigned char number)
{
    return std::make_unique<CIPv6ProtocolFilter>(number, noDescription, negated);
}

Filter ofIPv6Address(CIPv6Address const & address, CIPv6AddrFilter::ePosition position)
{
    return std::make_unique<CIPv6AddrFilter>(address.bytes, position, eoEqual, noDescription, negated);
}

// A number of two bytes stands in the last two of its key.
unsigned short numberIn(CProtocolIdPacked const & key)
{
    return static_cast<unsigned short>(key.bytes[4] << 8 | key.bytes[5]);
}

// Packets of IP, and of IPv6, that carry the transport with the port.
Filter ofPort(unsigned char transport, CProtocolIdPacked const & key)
{
    auto const type = transport == tcp ? CIPPortFilter::ptTCP : CIPPortFilter::ptUDP;
    return combined(
        CCompoundFilter::cmAll, ofProtocol(ipProtocol), ofSubprotocol(transport),
        Filter(std::make_unique<CIPPortFilter>(numberIn(key), type, eoEqual, noDescription, negated)));
}

Filter ofIPv6Port(unsigned char transport, CProtocolIdPacked const & key)
{
    auto const type = transport == tcp ? CIPPortFilter::ptTCP : CIPPortFilter::ptUDP;
    return combined(
        CCompoundFilter::cmAll, ofProtocol(ipv6Protocol), ofIPv6Protocol(transport),
        Filter(std::make_unique<CIPv6PortFilter>(numberIn(key), type, eoEqual, noDescription, negated)));
}

Filter between(CMACConnectionStat const & row)
{
    return combined(CCompoundFilter::cmAll, fromStation(row.source.get()), toStation(row.destination.get()));
}

Filter between(CIPConnectionStat const & row)
{
    return combined(CCompoundFilter::cmAll, ofProtocol(ipProtocol),
                    ofAddress(row.source.get(), CIPAddrFilter::apSource),
                    ofAddress(row.destination.get(), CIPAddrFilter::apDestination));
}

Filter between(CIPv6ConnectionStat const & row)
{
    return combined(CCompoundFilter::cmAll, ofProtocol(ipv6Protocol),
                    ofIPv6Address(row.source.get(), CIPv6AddrFilter::apSource),
                    ofIPv6Address(row.destination.get(), CIPv6AddrFilter::apDestination));
}

} // namespace

CFilter * schema::CUnfilteredContainerStat::buildFilter() const
{
    return nullptr;
}

CFilter * CStationStat::buildFilter() const
{
    return atStation(address.get()).release();
}

CFilter * CProtocolStat::buildFilter() const
{
    return ofProtocol(protocolId.get()).release();
}

template <class Traffic>
CFilter * CGenConnectionStat<Traffic>::buildFilter() const
{
    return between(*this).release();
}

CFilter * CARPStat::buildFilter() const
{
    return combined(CCompoundFilter::cmAll, ofProtocol(arpProtocol), atStation(macAddress.get())).release();
}

// A message tells of addresses within it, or of its sender; the station takes part in all that bind it.
CFilter * CNeighbourStat::buildFilter() const
{
    return combined(CCompoundFilter::cmAll, ofProtocol(ipv6Protocol), ofIPv6Protocol(icmpV6),
                    atStation(macAddress.get()))
        .release();
}

template <int N>
CFilter * CGenVlanStat<N>::buildFilter() const
{
    return new CVlanFilter(numberIn(vlanId.get()), N == 0 ? CVlanFilter::vtOuter : CVlanFilter::vtInner,
                           noDescription, negated);
}

// A number of one byte stands in the last byte of its key.
template <int N>
CFilter * CGenProtoStat<N>::buildFilter() const
{
    unsigned char const number = protocolId.get().bytes[5];
    return (N == 0 ? combined(CCompoundFilter::cmAll, ofProtocol(ipProtocol), ofSubprotocol(number))
                   : combined(CCompoundFilter::cmAll, ofProtocol(ipv6Protocol), ofIPv6Protocol(number)))
        .release();
}

// 0 and 1 are those of TCP and UDP, 2 and 3 of the same over IPv6.
template <int N>
CFilter * CGenPortStat<N>::buildFilter() const
{
    unsigned char const transport = N % 2 == 0 ? tcp : udp;
    return (N < 2 ? ofPort(transport, port.get()) : ofIPv6Port(transport, port.get())).release();
}

template CFilter * CGenConnectionStat<schema::CMACTraffic>::buildFilter() const;
template CFilter * CGenConnectionStat<schema::CIPTraffic>::buildFilter() const;
template CFilter * CGenConnectionStat<schema::CIPv6Traffic>::buildFilter() const;
template CFilter * CGenProtoStat<1>::buildFilter() const;
template CFilter * CGenPortStat<2>::buildFilter() const;
template CFilter * CGenPortStat<3>::buildFilter() const;
template CFilter * CGenVlanStat<0>::buildFilter() const;
template CFilter * CGenVlanStat<1>::buildFilter() const;
template CFilter * CGenProtoStat<0>::buildFilter() const;
template CFilter * CGenPortStat<0>::buildFilter() const;
template CFilter * CGenPortStat<1>::buildFilter() const;

CFilter * buildFilter(CBaseStat const * stat)
{
    std::unique_ptr<CCompoundFilter> compound;
    Filter only; // the first filter on the way, until there is a second one
    for (; stat; stat = stat->getParent()) {
        auto const * const container = dynamic_cast<CBaseStaticContainerStat const *>(stat);
        Filter filter(container ? container->buildFilter() : nullptr);
        if (!filter)
            continue;
        if (compound) {
            compound->Add(filter.release());
        } else if (only) {
            compound = std::make_unique<CCompoundFilter>(noDescription, negated);
            compound->Add(only.release());
            compound->Add(filter.release());
        } else {
            only = std::move(filter);
        }
    }
    return compound ? compound.release() : only.release();
}

} // namespace KetStats
