#include "host/render/SampleFacts.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <iterator>

namespace ketmon {

using namespace KetStats;

namespace {

std::string textOf(CMACAddrPacked const & address)
{
    auto const & octet = address.bytes;
    return fmt::format("{:02x}:{:02x}:{:02x}:{:02x}:{:02x}:{:02x}", octet[0], octet[1], octet[2], octet[3],
                       octet[4], octet[5]);
}

std::string textOf(CIPAddress const & address)
{
    unsigned char octet[4];
    unsigned int const inOrder = address; // as its bytes lie
    std::copy_n(reinterpret_cast<unsigned char const *>(&inOrder), sizeof octet, octet);
    return fmt::format("{}.{}.{}.{}", octet[0], octet[1], octet[2], octet[3]);
}

std::string textOf(CIPv6Address const & address)
{
    return ipv6Text(address.bytes.data());
}

template <class T>
std::uint64_t counted(CValueStat<T> const & counter)
{
    return static_cast<std::uint64_t>(counter.get());
}

std::uint32_t numberOf(CValueStat<CProtocolIdPacked> const & id)
{
    return static_cast<std::uint32_t>(static_cast<long long>(id.get()));
}

// The tree has a number there, or nothing before a frame with a tag; a peer may send anything.
std::optional<std::uint32_t> vlanOf(CStringStat const & text)
{
    std::string const digits = text.get();
    std::uint32_t vlan = 0;
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), vlan);
    if (error != std::errc() || end != digits.data() + digits.size() || vlan > 4095)
        return {};
    return vlan;
}

template <class Row>
void takeSent(CRowFigures & figures, Row const & row)
{
    figures.frames = counted(row.framesTransmitted);
    figures.bytes = counted(row.dataTransmitted);
}

template <class Row>
void takeBothWays(CRowFigures & figures, Row const & row)
{
    figures.framesSent = counted(row.framesTransmitted);
    figures.bytesSent = counted(row.dataTransmitted);
    figures.framesReceived = counted(row.framesReceived);
    figures.bytesReceived = counted(row.dataReceived);
}

template <class Table>
std::vector<CRowFigures> portRows(Table const & table)
{
    std::vector<CRowFigures> rows;
    rows.reserve(table.size());
    for (unsigned int id = table.getOldestId(); id != 0; id = table.getNextNewerId(id))
        rows.push_back(rowFigures(*table.rowById(id)));
    return rows;
}

void take(CRowFigures & figures, CFrameTypeOrSizeStat const & row)
{
    figures.name = row.getDescription()->getStringDescription();
    figures.frames = counted(row.frames);
    figures.bytes = counted(row.data);
}

void take(CRowFigures & figures, CStationStat const & row)
{
    figures.address = textOf(row.address.get());
    takeBothWays(figures, row);
    figures.vlan = vlanOf(row.vlanId);
    figures.tcpPorts = portRows(row.tcpPorts);
    figures.udpPorts = portRows(row.udpPorts);
}

void take(CRowFigures & figures, CProtocolStat const & row)
{
    figures.code = numberOf(row.protocolId);
    takeSent(figures, row);
}

template <class Connection>
void takeConnection(CRowFigures & figures, Connection const & row)
{
    figures.source = textOf(row.source.get());
    figures.destination = textOf(row.destination.get());
    takeSent(figures, row);
}

void take(CRowFigures & figures, CMACConnectionStat const & row)
{
    takeConnection(figures, row);
}

// The row of the others stands in place of pairs that have none; a pair of the same addresses is another row.
template <class Traffic>
requires(Traffic::hasOthers) void take(CRowFigures & figures, CGenConnectionStat<Traffic> const & row)
{
    takeConnection(figures, row);
    using Table = typename CGenConnectionStat<Traffic>::Container;
    auto const * const table = dynamic_cast<Table const *>(row.getParent());
    figures.others = table && table->getSummaryStat() == &row;
}

template <class Binding>
void takeBinding(CRowFigures & figures, Binding const & row)
{
    figures.address = textOf(row.ipAddress.get());
    figures.macAddress = textOf(row.macAddress.get());
}

void take(CRowFigures & figures, CARPStat const & row)
{
    takeBinding(figures, row);
}

void take(CRowFigures & figures, CNeighbourStat const & row)
{
    takeBinding(figures, row);
}

template <int N>
void take(CRowFigures & figures, CGenVlanStat<N> const & row)
{
    figures.code = numberOf(row.vlanId);
    takeSent(figures, row);
}

template <int N>
void take(CRowFigures & figures, CGenProtoStat<N> const & row)
{
    figures.code = numberOf(row.protocolId);
    takeSent(figures, row);
}

template <int N>
void take(CRowFigures & figures, CGenPortStat<N> const & row)
{
    figures.code = numberOf(row.port);
    takeBothWays(figures, row);
}

template <class Row>
bool takeIf(CRowFigures & figures, CBaseStat const & stat)
{
    auto const * const row = dynamic_cast<Row const *>(&stat);
    if (row)
        take(figures, *row);
    return row != nullptr;
}

template <class... Rows>
void takeOneOf(CRowFigures & figures, CBaseStat const & stat)
{
    static_cast<void>((takeIf<Rows>(figures, stat) || ...));
}

} // namespace

CRowFigures rowFigures(CBaseStat const & row)
{
    CRowFigures figures;
    figures.oid = row.getOid().toString();
    takeOneOf<CTcpPortStat, CUdpPortStat, CIPConnectionStat, CMACConnectionStat, CStationStat, CARPStat,
              CProtocolStat, CGenProtoStat<0>, CFrameTypeOrSizeStat, CIPv6ConnectionStat, CIPv6TcpPortStat,
              CIPv6UdpPortStat, CIPv6ProtoStat, COuterVlanStat, CInnerVlanStat, CNeighbourStat>(figures, row);
    if (std::uint64_t const frames = figures.totalFrames())
        figures.averageFrameBytes = static_cast<double>(figures.totalBytes()) / static_cast<double>(frames);
    return figures;
}

} // namespace ketmon
