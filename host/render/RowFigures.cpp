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
void take(CRowFigures & figures, CIPConnectionStat const & row)
{
    takeConnection(figures, row);
    auto const * const table = dynamic_cast<CIPConnectionStat::Container const *>(row.getParent());
    figures.others = table && table->getSummaryStat() == &row;
}

void take(CRowFigures & figures, CARPStat const & row)
{
    figures.address = textOf(row.ipAddress.get());
    figures.macAddress = textOf(row.macAddress.get());
}

void take(CRowFigures & figures, CGenProtoStat<0> const & row)
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
              CProtocolStat, CGenProtoStat<0>, CFrameTypeOrSizeStat>(figures, row);
    if (std::uint64_t const frames = figures.totalFrames())
        figures.averageFrameBytes = static_cast<double>(figures.totalBytes()) / static_cast<double>(frames);
    return figures;
}

} // namespace ketmon
