#include "ketstats/engine/FramePass.h"
#include "ketstats/engine/NetworkProtocol.h"
#include "ketstats/engine/StatManager.h"
#include "ketstats/model/RowCounts.h"

#include <new>
#include <string>
#include <typeinfo>

// Which tables are renewed decides who is evicted. Stations, protocols, MAC and IP connections follow the
// last frame, so that their oldest row is the one idle longest; sub-protocols, ports and ARP bindings keep
// the order in which they were created. A row that is evicted leaves its counts in the ledger of its table.
//
// No lack of memory ends a pass: where a row can't be had a table behaves as if it were full, and a table
// without rows counts in its ledger.
//
// Where a frame has a direction, its source counts in "transmitted" and its destination in "received"; a
// connection has one direction and counts in "transmitted".

namespace KetStats {

namespace {

template <class Row>
void countTransmitted(Row & row, long long frameSize)
{
    row.framesTransmitted.add(1);
    row.dataTransmitted.add(frameSize);
}

template <class Row>
void countReceived(Row & row, long long frameSize)
{
    row.framesReceived.add(1);
    row.dataReceived.add(frameSize);
}

// Counts in the row of a table, or in its ledger where there is neither a row nor memory for one.
template <class Table, class Row>
void countTransmitted(Table & table, Row * row, long long frameSize)
{
    if (row)
        countTransmitted(*row, frameSize);
    else
        table.addLost(
            {.framesTransmitted = 1, .bytesTransmitted = static_cast<unsigned long long>(frameSize)});
}

template <class Table, class Row>
void countReceived(Table & table, Row * row, long long frameSize)
{
    if (row)
        countReceived(*row, frameSize);
    else
        table.addLost({.framesReceived = 1, .bytesReceived = static_cast<unsigned long long>(frameSize)});
}

// The port tables of a station that couldn't be had: ledgers alone.
class CLostPorts
{
public:
    class CTable
    {
    public:
        explicit CTable(CLedger & ledger) : m_ledger(ledger) {}
        CTcpPortStat * counted(CProtocolId const &) { return nullptr; }
        void addLost(CLedger const & counts) { add(m_ledger, counts); }

    private:
        CLedger & m_ledger;
    };

    explicit CLostPorts(CStationStat::GivenUpTables & ledgers)
        : tcpPorts(ledgers.tcpPorts),
          udpPorts(ledgers.udpPorts)
    {}

    CTable tcpPorts;
    CTable udpPorts;
};

// The Ethernet part of an analysis, null for media of another kind. Media of exactly that class, which are
// all that a capture brings, need no search through their bases.
CEthernetInfo const * asEthernet(CMediaInfo const & media)
{
    return typeid(media) == typeid(CEthernetInfo) ? static_cast<CEthernetInfo const *>(&media)
                                                  : dynamic_cast<CEthernetInfo const *>(&media);
}

} // namespace

// One straight pass over a frame, with the writer side of the gate held. The order of the steps is fixed.
void CKetrinStatManager::doAnalyzeFrame(CNetworkFrame * frame)
{
    CMediaInfo * const media = frame->AnalyzeFrame();
    measureOverhead(*media);

    CFramePass pass = countFrame(frame, media);
    if (enabledGroup(4)) {
        countFrameType(pass);
        countFrameSize(pass);
    }
    if (enabledGroup(6))
        countProtocol(pass);
    if (pass.unicast && enabledGroup(8))
        countIP(pass);
    // "1.5" alone also keeps the MAC connections, and "1.7" alone keeps nothing but them.
    if (enabledGroup(5)) {
        countSourceStation(pass);
        if (pass.unicast)
            countDestinationStation(pass);
    }
    if (pass.unicast && (enabledGroup(5) || enabledGroup(7)))
        countMACConnection(pass);
    // No flag guards this step, and broadcasts reach it: that is how requests are seen.
    if (!pass.ipFrame)
        learnFromARP(pass);
}

// Done once in the life of a manager: the overhead is a property of the medium, told by its first frame.
void CKetrinStatManager::measureOverhead(CMediaInfo const & media)
{
    if (overhead.load(std::memory_order_relaxed) == -1)
        overhead.store(media.GetOverhead(), std::memory_order_relaxed);
}

// The global counters and the classification run whatever the flags say. Only the low 16 bits of a frame's
// length count. A broadcast isn't asked whether it is a multicast. A frame that throws when it is asked for its
// length has been counted as a frame.
CFramePass CKetrinStatManager::countFrame(CNetworkFrame * frame, CMediaInfo * media)
{
    agentStatistic.globalStatistics.transmittedFrames.add(1);
    long long const frameSize =
        static_cast<unsigned short>(frame->GetLength()) + overhead.load(std::memory_order_relaxed);
    agentStatistic.globalStatistics.transmittedData.add(frameSize);

    bool const broadcast = media->IsBroadcast();
    return {frame, media, frameSize, broadcast, !broadcast && !media->IsMulticast()};
}

void CKetrinStatManager::countFrameType(CFramePass const & pass)
{
    CFrameTypesStat & types = agentStatistic.frameTables.frameTypes;
    CFrameTypeOrSizeStat & row = pass.unicast     ? types.unicast
                                 : pass.broadcast ? types.broadcast
                                                  : types.multicast;
    row.data.add(pass.frameSize);
    row.frames.add(1);
}

// The limits are inclusive and hold for the size with the overhead, so that a row's bytes add up with the
// global data. A negative size falls in the first row.
void CKetrinStatManager::countFrameSize(CFramePass const & pass)
{
    CFrameSizesStat & sizes = agentStatistic.frameTables.frameSizes;
    CFrameTypeOrSizeStat & row = pass.frameSize <= 64     ? sizes.size64
                                 : pass.frameSize <= 128  ? sizes.size128
                                 : pass.frameSize <= 256  ? sizes.size256
                                 : pass.frameSize <= 512  ? sizes.size512
                                 : pass.frameSize <= 1024 ? sizes.size1024
                                                          : sizes.sizeOver1024;
    row.data.add(pass.frameSize);
    row.frames.add(1);
}

// Every frame lands in this table, also one without a protocol.
void CKetrinStatManager::countProtocol(CFramePass const & pass)
{
    auto & table = agentStatistic.protocols;
    countTransmitted(table, table.countedRenewed(pass.media->GetProtocolId()), pass.frameSize);
}

void CKetrinStatManager::countIP(CFramePass & pass)
{
    CIPProtocol ip(pass.frame, pass.media);
    if (!ip.analyze())
        return;
    pass.ipFrame = true;

    CIPConnectionStat::CKey const key(ip.getSourceAddress(), ip.getDestinationAddress());
    auto & connections = agentStatistic.ipConnections;
    countTransmitted(connections, connections.countedRenewed(key), pass.frameSize);

    CProtocolId const subprotocol = ip.getSubprotocolId();
    auto & subprotocols = agentStatistic.ipSubprotocols;
    countTransmitted(subprotocols, subprotocols.counted(subprotocol), pass.frameSize);

    pass.tcpFrame = subprotocol == CNetworkProtocol::tcpId();
    pass.udpFrame = !pass.tcpFrame && subprotocol == CNetworkProtocol::udpId();
    if (!pass.tcpFrame && !pass.udpFrame)
        return;
    pass.srcPortId = ip.getSrcPortId();
    pass.dstPortId = ip.getDstPortId();
    pass.srcPort = ip.getSrcPort();
    pass.dstPort = ip.getDstPort();
    countSourcePort(pass, agentStatistic.ipPorts);
    countDestinationPort(pass, agentStatistic.ipPorts);
}

// The port tables are those of the whole network or of a station. Each use of a range reads it afresh. A
// frame whose ports are both in range counts in two rows, or twice in one, once each way.
template <class Tables>
void CKetrinStatManager::countSourcePort(CFramePass const & pass, Tables & tables)
{
    if (pass.tcpFrame && tcpPorts.contains(pass.srcPort))
        countTransmitted(tables.tcpPorts, tables.tcpPorts.counted(pass.srcPortId), pass.frameSize);
    else if (pass.udpFrame && udpPorts.contains(pass.srcPort))
        countTransmitted(tables.udpPorts, tables.udpPorts.counted(pass.srcPortId), pass.frameSize);
}

template <class Tables>
void CKetrinStatManager::countDestinationPort(CFramePass const & pass, Tables & tables)
{
    if (pass.tcpFrame && tcpPorts.contains(pass.dstPort))
        countReceived(tables.tcpPorts, tables.tcpPorts.counted(pass.dstPortId), pass.frameSize);
    else if (pass.udpFrame && udpPorts.contains(pass.dstPort))
        countReceived(tables.udpPorts, tables.udpPorts.counted(pass.dstPortId), pass.frameSize);
}

// Every frame has a real sender, a broadcast too.
void CKetrinStatManager::countSourceStation(CFramePass const & pass)
{
    auto & stations = agentStatistic.stations;
    CStationStat * const row = stations.countedRenewed(pass.media->sourceMAC);
    countTransmitted(stations, row, pass.frameSize);
    if (!row) {
        CLostPorts ports(stations.lostTables());
        return countSourcePort(pass, ports);
    }
    nameVlan(pass, *row);
    countSourcePort(pass, *row);
}

// A tag leaves its second byte as a decimal number. The flag stays down, and a later frame without a tag
// leaves the text in place.
void CKetrinStatManager::nameVlan(CFramePass const & pass, CStationStat & station)
{
    CEthernetInfo const * const ethernet = asEthernet(*pass.media);
    if (ethernet && ethernet->hasVlanTag())
        station.vlanId = std::to_string(ethernet->vlanTag[1]);
}

void CKetrinStatManager::countDestinationStation(CFramePass const & pass)
{
    auto & stations = agentStatistic.stations;
    CStationStat * const row = stations.countedRenewed(pass.media->destinationMAC);
    countReceived(stations, row, pass.frameSize);
    if (!row) {
        CLostPorts ports(stations.lostTables());
        return countDestinationPort(pass, ports);
    }
    countDestinationPort(pass, *row);
}

void CKetrinStatManager::countMACConnection(CFramePass const & pass)
{
    CMACConnectionStat::CKey const key(pass.media->sourceMAC, pass.media->destinationMAC);
    auto & connections = agentStatistic.macConnections;
    countTransmitted(connections, connections.countedRenewed(key), pass.frameSize);
}

// A request teaches only its sender, since its target MAC is what it asks for; a reply teaches both ends. A
// sender address of 0 is a probe and teaches nothing.
void CKetrinStatManager::learnFromARP(CFramePass const & pass)
{
    CARPProtocol arp(pass.frame, pass.media);
    if (!arp.analyze() || !(arp.getProtocolType() == CNetworkProtocol::ipId()))
        return;
    unsigned int const opcode = arp.getOpcode();
    if (opcode != CARPProtocol::request && opcode != CARPProtocol::reply)
        return;
    if (CIPAddress const sender = arp.getSenderIP(); sender != CIPAddress(0))
        learnBinding(sender, arp.getSenderMAC());
    if (opcode == CARPProtocol::reply)
        learnBinding(arp.getTargetIP(), arp.getTargetMAC());
}

// The table records the first binding seen: a known address stays as it is. Where memory runs out the oldest
// binding makes way as in a full table, and a first one isn't learned.
void CKetrinStatManager::learnBinding(CIPAddress const & address, CMACAddr const & mac)
{
    auto & table = agentStatistic.arpTable;
    try {
        if (table.createIfNew(address, mac))
            return;
    } catch (std::bad_alloc const &) {
        if (table.size() == 0)
            return;
    }
    table.deleteOldest();
    table.createIfNew(address, mac);
}

} // namespace KetStats
