#include "host/render/FittedTable.h"
#include "host/render/Picture.h"
#include "host/support/Escaped.h"

#include <fmt/core.h>

#include <algorithm>
#include <iterator>

namespace ketmon {

namespace {

// What of a family of IP is looked into.
struct CFamily
{
    std::uint32_t type;
    char const * protocols;
    char const * tcpPorts;
    char const * udpPorts;
};
constexpr CFamily families[] = {{0x0800, "ip_protocols", "tcp_ports", "udp_ports"},
                                {0x86DD, "ipv6_protocols", "ipv6_tcp_ports", "ipv6_udp_ports"}};
constexpr std::uint32_t tcp = 6;
constexpr std::uint32_t udp = 17;
constexpr std::size_t mostPorts = 3; // below TCP and UDP; they have a table of their own
constexpr std::uint32_t greatestAccessPoint = 0xFF;

struct CLine
{
    unsigned int depth;
    std::string name;
    std::string number;
};

// The lines of the hierarchy as they stand one below the other.
class CHierarchy
{
public:
    explicit CHierarchy(CPicture const & picture) : m_picture(picture), m_table(picture.style.ascii)
    {
        m_table.addColumn({"", CFittedTable::left, 0, 24, 40});
        m_table.addColumn({"Number", CFittedTable::right, 1});
        m_table.addColumn({"Frames"});
        m_table.addColumn({"Share", CFittedTable::right, 1});
        m_table.addColumn({"Bytes"});
        m_table.addColumn({"Share", CFittedTable::right, 1});
        m_table.addColumn({"Size", CFittedTable::right, 3});
        m_table.setBar(2, 8, 40);
    }

    void addTypes()
    {
        CTableFigures const & types = *m_picture.filled("protocols");
        std::size_t shown = 0;
        for (CRowFigures const * const row : busiest(types.rows, m_picture.order("protocols"))) {
            if (m_picture.style.top != 0 && shown == m_picture.style.top)
                break;
            ++shown;
            std::uint32_t const code = row->code.value_or(0);
            // Frames of other media may have none.
            bool const isNone = code == 0 && m_picture.figures.source.linkType != "ethernet";
            add({0, isNone ? "(none)" : m_picture.names.protocol(code),
                 fmt::format("0x{:0{}x}", code, code <= greatestAccessPoint ? 2 : 4)},
                *row);
            for (CFamily const & family : families)
                if (code == family.type)
                    addIPProtocols(family, 1, row);
        }
        m_left = types.rows.size() - shown;
    }

    // Below the row of their family, or for themselves.
    void addIPProtocols(CFamily const & family, unsigned int depth, CRowFigures const * parent)
    {
        CTableFigures const * const protocols = m_picture.filled(family.protocols);
        if (!protocols)
            return;
        CRowFigures rest = parent ? *parent : CRowFigures();
        for (CRowFigures const * const row : busiest(protocols->rows, m_picture.order(family.protocols))) {
            std::uint32_t const code = row->code.value_or(0);
            add({depth, m_picture.names.ipProtocol(code), fmt::format("{}", code)}, *row);
            if (code == tcp)
                addPorts(family.tcpPorts, CTransport::tcp, depth + 1, *row);
            if (code == udp)
                addPorts(family.udpPorts, CTransport::udp, depth + 1, *row);
            subtract(rest, row->totalFrames(), row->totalBytes());
        }
        // Only unicasts are looked into. What remains is theirs alone if no row was lost.
        if (parent && rest.totalFrames() > 0 && m_picture.complete("protocols") &&
            m_picture.complete(family.protocols))
            add({depth, "(broadcast, multicast)", ""}, rest);
    }

    std::string text() const
    {
        std::string text =
            "Protocols, by " + m_picture.measure() + '\n' + m_table.toString(m_picture.style.width);
        if (m_left > 0)
            text += fmt::format("  and {} more (--top 0 shows all)\n", m_left);
        if (m_overlap)
            text +=
                wrapped("  ",
                        "A frame between two ports that both have rows is counted at both of them, so that "
                        "ports may come to more than their protocol.",
                        m_picture.style.width);
        return text;
    }

private:
    void add(CLine const & line, CRowFigures const & row)
    {
        CFigures const & figures = m_picture.figures;
        std::uint64_t const frames = row.totalFrames();
        std::uint64_t const bytes = row.totalBytes();
        bool const named = !line.name.empty();
        m_table.addRow({std::string(2UL * line.depth, ' ') + escaped(named ? line.name : line.number),
                        named ? line.number : "", m_picture.quantity(frames),
                        percentText(shareOf(frames, figures.frames)), m_picture.quantity(bytes),
                        percentText(shareOf(bytes, figures.bytes)),
                        frames == 0 ? "-" : allDigits(bytes / frames)},
                       m_picture.share(row));
    }

    void addPorts(std::string const & key, CTransport transport, unsigned int depth,
                  CRowFigures const & parent)
    {
        CTableFigures const * const ports = m_picture.filled(key);
        if (!ports)
            return;
        std::size_t shown = 0;
        std::uint64_t frames = 0;
        for (CRowFigures const * const row : busiest(ports->rows, m_picture.order(key))) {
            frames += row->totalFrames();
            if (shown++ >= mostPorts)
                continue;
            std::uint32_t const port = row->code.value_or(0);
            std::string const service = m_picture.names.service(transport, port);
            add({depth, service, fmt::format("{}", port)}, *row);
        }
        m_overlap = m_overlap || frames > parent.totalFrames();
    }

    static void subtract(CRowFigures & row, std::uint64_t frames, std::uint64_t bytes)
    {
        row.frames = row.totalFrames() - std::min(row.totalFrames(), frames);
        row.bytes = row.totalBytes() - std::min(row.totalBytes(), bytes);
    }

    CPicture const & m_picture;
    CFittedTable m_table;
    std::size_t m_left = 0;
    bool m_overlap = false;
};

} // namespace

std::string protocolsText(CPicture const & picture)
{
    CTableFigures const * const types = picture.filled("protocols");
    bool const anyFamily = std::any_of(std::begin(families), std::end(families), [&](CFamily const & family) {
        return picture.filled(family.protocols) != nullptr;
    });
    if (!types && !anyFamily)
        return {};
    CHierarchy hierarchy(picture);
    if (types)
        hierarchy.addTypes();
    else
        for (CFamily const & family : families)
            hierarchy.addIPProtocols(family, 0, nullptr);
    std::string text = hierarchy.text();
    if (types)
        text += givenUpText(picture, *types);
    for (CFamily const & family : families)
        if (CTableFigures const * const protocols = picture.filled(family.protocols))
            text += givenUpText(picture, *protocols);
    return text;
}

} // namespace ketmon
