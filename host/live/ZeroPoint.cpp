#include "host/live/ZeroPoint.h"

#include <algorithm>

namespace ketmon {

namespace {

std::uint64_t less(std::uint64_t count, std::uint64_t base)
{
    return count > base ? count - base : 0;
}

void reduce(CCount & count, std::uint64_t base)
{
    if (count)
        count = less(*count, base);
}

} // namespace

// Rows with the key of what they belong to.
struct CZeroPoint::CRows
{
    std::string owner;
    std::vector<CRowFigures> & rows;
};

void CZeroPoint::apply(CFigures & figures)
{
    for (CTableFigures & table : figures.tables) {
        if (!table.counted)
            continue;
        if (table.key == "ip_protocols" || table.key == "tcp_ports" || table.key == "udp_ports" ||
            table.key == "ipv6_protocols" || table.key == "ipv6_tcp_ports" || table.key == "ipv6_udp_ports") {
            apply(m_tables[table.key], {{"", table.rows}}, table.givenUp);
            table.zero = figures.zero;
        }
        if (table.key != "stations" || !table.portsCounted)
            continue;
        std::vector<CRows> tcp;
        std::vector<CRows> udp;
        for (CRowFigures & station : table.rows) {
            tcp.push_back({station.address + ' ', station.tcpPorts});
            udp.push_back({station.address + ' ', station.udpPorts});
        }
        apply(m_tables["tcp"], tcp, table.tcpPortsGivenUp);
        apply(m_tables["udp"], udp, table.udpPortsGivenUp);
        table.portsZero = figures.zero;
    }
    m_set = true;

    if (figures.frames.value_or(0) == 0)
        return;
    for (CTableFigures & table : figures.tables)
        if (table.key == "ip_protocols" || table.key == "ipv6_protocols")
            for (CRowFigures & row : table.rows)
                row.share = std::min(1.0, static_cast<double>(row.totalFrames()) /
                                              static_cast<double>(*figures.frames));
}

void CZeroPoint::apply(CTableBase & base, std::vector<CRows> const & parts,
                       std::optional<CGivenUp> & givenUp) const
{
    if (!m_set && givenUp)
        base.givenUp = *givenUp;
    for (auto & [key, row] : base.rows)
        row.seen = false;
    for (CRows const & part : parts)
        for (CRowFigures & row : part.rows)
            apply(base, part.owner + std::to_string(row.code.value_or(0)), row);
    std::erase_if(base.rows, [&](auto const & entry) {
        if (!entry.second.seen)
            add(base.gone, entry.second.counts);
        return !entry.second.seen;
    });

    if (!givenUp)
        return;
    CCounts const & gone = base.gone;
    CGivenUp const & then = base.givenUp;
    givenUp->rows = less(givenUp->rows, then.rows);
    reduce(givenUp->frames, then.frames.value_or(0) + gone.framesSent + gone.framesReceived);
    reduce(givenUp->bytes, then.bytes.value_or(0) + gone.bytesSent + gone.bytesReceived);
    reduce(givenUp->framesSent, then.framesSent.value_or(0) + gone.framesSent);
    reduce(givenUp->bytesSent, then.bytesSent.value_or(0) + gone.bytesSent);
    reduce(givenUp->framesReceived, then.framesReceived.value_or(0) + gone.framesReceived);
    reduce(givenUp->bytesReceived, then.bytesReceived.value_or(0) + gone.bytesReceived);
}

void CZeroPoint::apply(CTableBase & base, std::string const & key, CRowFigures & row) const
{
    CCounts const now = countsOf(row);
    if (!m_set)
        base.rows.insert_or_assign(key, CBase{row.oid, now, now});
    auto const found = base.rows.find(key);
    if (found == base.rows.end())
        return;
    CBase & known = found->second;
    // It stays unseen, and so it counts as gone.
    if (known.oid != row.oid || wentBack(now, known.last))
        return;
    known.seen = true;
    known.last = now;
    CCounts const & then = known.counts;
    reduce(row.frames, then.framesSent);
    reduce(row.bytes, then.bytesSent);
    reduce(row.framesSent, then.framesSent);
    reduce(row.bytesSent, then.bytesSent);
    reduce(row.framesReceived, then.framesReceived);
    reduce(row.bytesReceived, then.bytesReceived);
    if (row.averageFrameBytes) {
        row.averageFrameBytes.reset();
        if (row.totalFrames() > 0)
            row.averageFrameBytes =
                static_cast<double>(row.totalBytes()) / static_cast<double>(row.totalFrames());
    }
}

// A table counts both ways or one, and one counts as sent here.
CZeroPoint::CCounts CZeroPoint::countsOf(CRowFigures const & row)
{
    return {row.frames.value_or(0) + row.framesSent.value_or(0),
            row.bytes.value_or(0) + row.bytesSent.value_or(0), row.framesReceived.value_or(0),
            row.bytesReceived.value_or(0)};
}

bool CZeroPoint::wentBack(CCounts const & now, CCounts const & before)
{
    return now.framesSent < before.framesSent || now.bytesSent < before.bytesSent ||
           now.framesReceived < before.framesReceived || now.bytesReceived < before.bytesReceived;
}

void CZeroPoint::add(CCounts & sum, CCounts const & counts)
{
    sum.framesSent += counts.framesSent;
    sum.bytesSent += counts.bytesSent;
    sum.framesReceived += counts.framesReceived;
    sum.bytesReceived += counts.bytesReceived;
}

} // namespace ketmon
