#include "host/render/Rates.h"
#include "host/render/SampleFacts.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <unordered_map>

namespace ketmon {

using namespace KetStats;

namespace {

// Groups of the root, by id.
enum Group : std::size_t
{
    globalStatistics = 1,
    globalErrors,
    globalFilter,
    frameTables,
    stations,
    protocols,
    macConnections,
    ipConnections,
    arpTable,
    ipSubprotocols,
    ipPorts,

    ipv6Connections = firstExtendedGroup + 1,
    ipv6Protocols,
    ipv6Ports,
    vlans,
    neighbours,
    signals,
    tunnels,
};

enum class Ways
{
    none,
    one,
    both,
};

// Of the tunnels and the signals, in the order of their ids.
constexpr char const * tunnelKeys[] = {"ip_in_ip", "6in4", "gre", "vxlan", "geneve", "pppoe", "mpls"};
constexpr char const * signalKeys[] = {
    "connections_requested",
    "connections_accepted",
    "connections_ended",
    "connections_reset",
    "zero_windows",
    "fragments",
    "unreachable",
    "packet_too_big",
    "time_exceeded",
    "parameter_problem",
    "redirects",
    "source_quench",
    "arp_requests",
    "arp_replies",
    "gratuitous_arps",
    "changed_bindings",
    "overlong_packets",
};

// A number that is one: not of a division by nothing.
CRatio known(double value)
{
    return std::isfinite(value) ? CRatio(value) : CRatio();
}

CCount knownIf(bool condition, std::uint64_t count)
{
    return condition ? CCount(count) : CCount();
}

CCount countOf(CBaseStat const & leaf)
{
    return static_cast<std::uint64_t>(leaf.getDescription()->getInteger(&leaf));
}

// Makes the figures of one sample.
class CFiguresMaker
{
public:
    CFiguresMaker(CAgentStatistic const & tree, CSampleFacts const & facts)
        : m_tree(tree),
          m_extended(facts.extended ? *facts.extended : noExtended()),
          m_facts(facts)
    {}

    CFigures made();

private:
    void addGlobal();
    void addErrors();
    void addFilter();
    void addFrameTypes();
    void addFrameSizes();
    void addStations();
    void addExtended();
    void addTunnels();
    void addSignals();
    // In whose shape the tables stand that nobody counts.
    static CExtendedStatistic const & noExtended()
    {
        static CExtendedStatistic const none;
        return none;
    }

    CTableFigures & add(char const * key, CBaseStat const & node, bool counted);
    template <class Table>
    CTableFigures & addTable(char const * key, Table const & table, Group group, std::uint32_t limit,
                             CLedger CLedgers::*ledger, Ways ways);
    std::optional<CGivenUp> givenUp(CLedger CLedgers::*ledger, Ways ways) const;
    void share(CTableFigures & table) const;
    void shareStations();
    CMoment zeroOfKept() const { return m_facts.epoch ? m_facts.epoch : m_facts.zero; }
    bool counts(Group group) const
    {
        return m_facts.counted[group] && (group < firstExtendedGroup || m_facts.extended);
    }

    CAgentStatistic const & m_tree;
    CExtendedStatistic const & m_extended;
    CSampleFacts const & m_facts;
    CFigures m_figures;
};

CFigures CFiguresMaker::made()
{
    CTableLimits const & limits = m_tree.limits();
    m_figures.source = m_facts.source;
    m_figures.zero = m_facts.zero;
    m_figures.time = m_facts.time;
    m_figures.intervalSeconds = m_facts.intervalSeconds;
    m_figures.received = m_facts.received;
    m_figures.droppedByKernel = m_facts.droppedByKernel;
    m_figures.droppedByInterface = m_facts.droppedByInterface;
    m_figures.odd = m_facts.odd;
    addGlobal();
    addErrors();
    addFilter();

    m_figures.tables.reserve(18); // so that references to one stay good while others are added
    addFrameTypes();
    addFrameSizes();
    addStations();
    share(addTable("protocols", m_tree.protocols, protocols, limits.protocols, &CLedgers::protocols,
                   Ways::one));
    share(addTable("mac_traffic", m_tree.macConnections, macConnections, limits.macConnections,
                   &CLedgers::macConnections, Ways::one));
    share(addTable("ip_traffic", m_tree.ipConnections, ipConnections, limits.ipConnections,
                   &CLedgers::ipConnections, Ways::one));
    // These have no zero point of their own in a sample, but show all that was ever counted.
    addTable("arp", m_tree.arpTable, arpTable, limits.arpTable, &CLedgers::arpTable, Ways::none).zero =
        zeroOfKept();
    CTableFigures & ipProtocols = addTable("ip_protocols", m_tree.ipSubprotocols, ipSubprotocols,
                                           limits.ipSubprotocols, &CLedgers::ipSubprotocols, Ways::one);
    ipProtocols.zero = zeroOfKept();
    if (ipProtocols.zero == m_figures.zero)
        share(ipProtocols);
    addTable("tcp_ports", m_tree.ipPorts.tcpPorts, ipPorts, limits.tcpPorts, &CLedgers::tcpPorts, Ways::both)
        .zero = zeroOfKept();
    addTable("udp_ports", m_tree.ipPorts.udpPorts, ipPorts, limits.udpPorts, &CLedgers::udpPorts, Ways::both)
        .zero = zeroOfKept();
    shareStations();
    addExtended();
    return std::move(m_figures);
}

void CFiguresMaker::addExtended()
{
    CExtendedStatistic const & tree = m_extended;
    CTableLimits const & limits = tree.limits();
    share(addTable("ipv6_traffic", tree.ipv6Connections, ipv6Connections, limits.ipv6Connections,
                   &CLedgers::ipv6Connections, Ways::one));
    // These have no zero point of their own, as their likes of IPv4.
    CTableFigures & protocolTable = addTable("ipv6_protocols", tree.ipv6Protocols, ipv6Protocols,
                                             limits.ipv6Protocols, &CLedgers::ipv6Protocols, Ways::one);
    protocolTable.zero = zeroOfKept();
    if (protocolTable.zero == m_figures.zero)
        share(protocolTable);
    addTable("ipv6_tcp_ports", tree.ipv6Ports.tcpPorts, ipv6Ports, limits.ipv6TcpPorts,
             &CLedgers::ipv6TcpPorts, Ways::both)
        .zero = zeroOfKept();
    addTable("ipv6_udp_ports", tree.ipv6Ports.udpPorts, ipv6Ports, limits.ipv6UdpPorts,
             &CLedgers::ipv6UdpPorts, Ways::both)
        .zero = zeroOfKept();
    share(addTable("vlans", tree.vlans.outer, vlans, limits.vlans, &CLedgers::vlans, Ways::one));
    share(addTable("inner_vlans", tree.vlans.inner, vlans, limits.innerVlans, &CLedgers::innerVlans,
                   Ways::one));
    addTable("neighbours", tree.neighbours, neighbours, limits.neighbours, &CLedgers::neighbours, Ways::none)
        .zero = zeroOfKept();
    addTunnels();
    addSignals();
}

void CFiguresMaker::addTunnels()
{
    CTableFigures & table = add("tunnels", m_extended.tunnels, counts(tunnels));
    if (!table.counted)
        return;
    CTunnelsStat::forEachColumn([&](auto id, auto row) {
        table.rows.push_back(rowFigures(m_extended.tunnels.*row));
        table.rows.back().type = tunnelKeys[id - 1];
    });
    share(table);
}

void CFiguresMaker::addSignals()
{
    CSignalsStat::forEachColumn([&](auto id, auto counter) {
        CBaseStat const & leaf = m_extended.signals.*counter;
        m_figures.signals.push_back({signalKeys[id - 1], leaf.getDescription()->getStringDescription(),
                                     counts(signals) ? countOf(leaf) : CCount()});
    });
}

void CFiguresMaker::addGlobal()
{
    CGlobalStatisticsStat const & global = m_tree.globalStatistics;
    m_figures.sample = m_facts.sample ? m_facts.sample : countOf(global.sampleNumber);
    m_figures.frames = countOf(global.transmittedFrames);
    m_figures.bytes = countOf(global.transmittedData);
    if (m_facts.source.linkBitsPerSecond.value_or(0) == 0) {
        m_figures.source.linkBitsPerSecond.reset();
        return;
    }
    // The average is worked out anew, as the tree gives a sample more time than a short capture may span. The
    // others are of intervals between samples, of which a single sample has none.
    if (auto const bits = m_figures.averages().bitsPerSecond)
        m_figures.utilisationAverage = *bits / static_cast<double>(*m_figures.source.linkBitsPerSecond);
    if (m_facts.intervalSeconds)
        m_figures.utilisationCurrent = known(global.currentUtilisation.get());
    if (global.sampleNumber.get() > 1)
        m_figures.utilisationPeak = known(global.peakUtilisation.get());
}

void CFiguresMaker::addErrors()
{
    using Counter = CValueStat<unsigned int> CGlobalErrorsStat::*;
    struct CName
    {
        char const * key;
        Counter counter;
    };
    static constexpr CName names[] = {
        {"hardware_overflows", &CGlobalErrorsStat::hardwareOverflows},
        {"software_overflows", &CGlobalErrorsStat::softwareOverflows},
        {"crc_errors", &CGlobalErrorsStat::crcErrors},
        {"alignment_errors", &CGlobalErrorsStat::alignmentErrors},
        {"single_collisions", &CGlobalErrorsStat::singleCollisions},
        {"multiple_collisions", &CGlobalErrorsStat::multipleCollisions},
        {"deferred", &CGlobalErrorsStat::deferred},
        {"max_collisions", &CGlobalErrorsStat::maxCollisions},
        {"receive_overruns", &CGlobalErrorsStat::receiveOverruns},
        {"heartbeat_failures", &CGlobalErrorsStat::heartbeatFailure},
        {"carrier_lost", &CGlobalErrorsStat::carrierLost},
        {"late_collisions", &CGlobalErrorsStat::lateCollisions},
    };
    CGlobalErrorsStat const & errors = m_tree.globalErrors;
    auto const told = [&](CBaseStat const & leaf) {
        return counts(globalErrors) && m_facts.told[leaf.getId()];
    };
    for (CName const & name : names) {
        CBaseStat const & leaf = errors.*name.counter;
        m_figures.errors.push_back(
            {name.key, leaf.getDescription()->getStringDescription(), told(leaf) ? countOf(leaf) : CCount()});
    }

    // What part of nothing was counted can't be said.
    std::uint64_t const lost = errors.hardwareOverflows.get() + std::uint64_t{errors.softwareOverflows.get()};
    std::uint64_t const all = lost + *m_figures.frames;
    if (told(errors.hardwareOverflows) && told(errors.softwareOverflows) && all > 0)
        m_figures.accuracy = static_cast<double>(*m_figures.frames) / static_cast<double>(all);
}

void CFiguresMaker::addFilter()
{
    m_figures.filterGiven = m_facts.filterGiven && counts(globalFilter);
    CGlobalFilterStat const & filter = m_tree.globalFilter;
    m_figures.filtered = knownIf(m_figures.filterGiven, *countOf(filter.filteredFrames));
    m_figures.accepted = knownIf(m_figures.filterGiven, *countOf(filter.acceptedFrames));
    m_figures.rejected = knownIf(m_figures.filterGiven, *countOf(filter.rejectedFrames));
}

CTableFigures & CFiguresMaker::add(char const * key, CBaseStat const & node, bool counted)
{
    CTableFigures table;
    table.key = key;
    table.oid = node.getOid().toString();
    table.name = node.getDescription()->getStringDescription();
    table.zero = m_facts.zero;
    table.counted = counted;
    m_figures.tables.push_back(std::move(table));
    return m_figures.tables.back();
}

void CFiguresMaker::addFrameTypes()
{
    CFrameTypesStat const & types = m_tree.frameTables.frameTypes;
    CTableFigures & table = add("frame_types", types, counts(frameTables));
    if (!table.counted)
        return;
    struct CType
    {
        CFrameTypeOrSizeStat const & row;
        char const * key;
    };
    CType const rows[] = {
        {types.broadcast, "broadcast"}, {types.multicast, "multicast"}, {types.unicast, "unicast"}};
    for (CType const & type : rows) {
        table.rows.push_back(rowFigures(type.row));
        table.rows.back().type = type.key;
    }
    share(table);
}

void CFiguresMaker::addFrameSizes()
{
    CFrameSizesStat const & sizes = m_tree.frameTables.frameSizes;
    CTableFigures & table = add("frame_sizes", sizes, counts(frameTables));
    if (!table.counted)
        return;
    struct CSize
    {
        CFrameTypeOrSizeStat const & row;
        std::uint32_t most; // none for 0
    };
    CSize const rows[] = {{sizes.size64, 64},   {sizes.size128, 128},   {sizes.size256, 256},
                          {sizes.size512, 512}, {sizes.size1024, 1024}, {sizes.sizeOver1024, 0}};
    std::uint32_t least = 0;
    for (CSize const & size : rows) {
        table.rows.push_back(rowFigures(size.row));
        table.rows.back().leastBytes = least;
        if (size.most != 0)
            table.rows.back().mostBytes = size.most;
        least = size.most + 1;
    }
    share(table);
}

void CFiguresMaker::addStations()
{
    CTableFigures & table = addTable("stations", m_tree.stations, stations, m_tree.limits().stations,
                                     &CLedgers::stations, Ways::both);
    // Of a station's ports only its IP frames tell, which are looked at with the IP traffic.
    table.portsCounted = table.counted && counts(ipConnections);
    table.portsZero = zeroOfKept();
    table.tcpPortLimit = m_tree.limits().stationTcpPorts;
    table.udpPortLimit = m_tree.limits().stationUdpPorts;
    if (table.portsCounted) {
        table.tcpPortsGivenUp = givenUp(&CLedgers::stationTcpPorts, Ways::both);
        table.udpPortsGivenUp = givenUp(&CLedgers::stationUdpPorts, Ways::both);
    }
}

template <class Table>
CTableFigures & CFiguresMaker::addTable(char const * key, Table const & table, Group group,
                                        std::uint32_t limit, CLedger CLedgers::*ledger, Ways ways)
{
    CTableFigures & figures = add(key, table, counts(group));
    figures.limit = limit;
    if (!figures.counted)
        return figures;
    figures.rows.reserve(table.size());
    for (unsigned int id = table.getOldestId(); id != 0; id = table.getNextNewerId(id))
        figures.rows.push_back(rowFigures(*table.rowById(id)));
    figures.givenUp = givenUp(ledger, ways);
    return figures;
}

std::optional<CGivenUp> CFiguresMaker::givenUp(CLedger CLedgers::*ledger, Ways ways) const
{
    if (!m_facts.givenUp)
        return {};
    CLedger const & gone = (*m_facts.givenUp).*ledger;
    CGivenUp figures;
    figures.rows = gone.rows;
    if (ways == Ways::none)
        return figures;
    figures.frames = gone.framesTransmitted + gone.framesReceived;
    figures.bytes = gone.bytesTransmitted + gone.bytesReceived;
    if (ways == Ways::both) {
        figures.framesSent = gone.framesTransmitted;
        figures.bytesSent = gone.bytesTransmitted;
        figures.framesReceived = gone.framesReceived;
        figures.bytesReceived = gone.bytesReceived;
    }
    return figures;
}

void CFiguresMaker::share(CTableFigures & table) const
{
    auto const whole = static_cast<double>(*m_figures.frames);
    for (CRowFigures & row : table.rows)
        if (whole > 0.0)
            row.share = std::min(1.0, static_cast<double>(row.totalFrames()) / whole);
}

// A frame that a station sent to itself is one frame of the whole, though it counts both ways.
void CFiguresMaker::shareStations()
{
    std::unordered_map<std::string_view, std::uint64_t> toItself;
    for (CRowFigures const & pair : m_figures.table("mac_traffic")->rows)
        if (pair.source == pair.destination)
            toItself.emplace(pair.source, pair.totalFrames());
    auto const whole = static_cast<double>(*m_figures.frames);
    for (CTableFigures & table : m_figures.tables) {
        if (table.key != "stations" || !(whole > 0.0))
            continue;
        for (CRowFigures & row : table.rows) {
            auto const found = toItself.find(row.address);
            std::uint64_t const twice = found == toItself.end() ? 0 : found->second;
            row.share = std::min(
                1.0, static_cast<double>(row.totalFrames() - std::min(row.totalFrames(), twice)) / whole);
        }
    }
}

// Whether a table has rows, or counted anything in fixed ones.
bool showsAnything(CBaseHashedContainerStat const & table)
{
    return table.size() > 0;
}

} // namespace

CFigures figuresOf(CAgentStatistic const & tree, CSampleFacts const & facts, CFigures const * before)
{
    CFigures figures = CFiguresMaker(tree, facts).made();
    if (before)
        addRates(figures, *before);
    return figures;
}

CGroupSet groupsThatCounted(CAgentStatistic const & tree, CExtendedStatistic const * extended)
{
    CFrameTypesStat const & types = tree.frameTables.frameTypes;
    CGroupSet groups;
    groups[globalStatistics] = true;
    groups[globalFilter] = tree.globalFilter.filteredFrames.get() > 0;
    groups[frameTables] = types.broadcast.frames.get() > 0 || types.multicast.frames.get() > 0 ||
                          types.unicast.frames.get() > 0;
    groups[stations] = showsAnything(tree.stations);
    groups[protocols] = showsAnything(tree.protocols);
    groups[macConnections] = showsAnything(tree.macConnections);
    groups[ipConnections] = showsAnything(tree.ipConnections);
    groups[arpTable] = true;
    groups[ipSubprotocols] = groups[ipConnections] || showsAnything(tree.ipSubprotocols);
    groups[ipPorts] = groups[ipSubprotocols];
    if (extended && !extended->isBlank())
        for (std::size_t group = ipv6Connections; group <= tunnels; ++group)
            groups[group] = true;
    return groups;
}

} // namespace ketmon
