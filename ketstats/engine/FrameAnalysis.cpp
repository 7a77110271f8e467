#include "ketstats/engine/Counting.h"
#include "ketstats/engine/FrameSources.h"
#include "ketstats/engine/NetworkProtocol.h"
#include "ketstats/engine/StatManager.h"
#include "ketstats/extended/ExtendedPass.h"
#include "ketstats/model/RowCounts.h"

#include <string>

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

constexpr unsigned short ipType = 0x0008; // as it lies in a frame
constexpr unsigned short arpType = 0x0608;
constexpr unsigned short ipv6Type = 0xDD86;

// The port tables of a station that couldn't be had: ledgers alone.
class CLostPorts
{
public:
    class CTable
    {
    public:
        explicit CTable(CLedger & ledger) : m_ledger(ledger) {}
        CTcpPortStat * counted(CProtocolBits const &) { return nullptr; }
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

// One straight pass over a frame, with the writer side of the gate held. Later steps read what earlier ones found.
// Nobody outside calls the steps, so that the compiler makes one piece of them.
template <class Frame>
class CFramePass
{
public:
    CFramePass(CAgentStatistic & theTree, CExtendedStatistic & theExtended, CPassControls const & theControls,
               Frame const & theFrame)
        : tree(theTree),
          extended(theExtended),
          controls(theControls),
          frame(theFrame)
    {}

    // The order of the steps is fixed. The overhead is a property of the medium, told by the first frame in the life of
    // a manager.
    void run(std::atomic<long long> & overhead)
    {
        if (overhead.load(std::memory_order_relaxed) == -1) [[unlikely]]
            overhead.store(frame.overhead(), std::memory_order_relaxed);
        countFrame(overhead.load(std::memory_order_relaxed));
        if (controls.counts(4)) {
            countFrameType();
            countFrameSize();
        }
        if (controls.counts(6))
            countProtocol();
        if (unicast && controls.counts(8))
            countIP();
        // "1.5" alone also keeps the MAC connections, and "1.7" alone keeps nothing but them.
        if (controls.counts(5)) {
            countSourceStation();
            if (unicast)
                countDestinationStation();
        }
        if (unicast && (controls.counts(5) || controls.counts(7)))
            countMACConnection();
        // No flag guards this step, and broadcasts reach it: that is how requests are seen.
        if (!ipFrame)
            learnFromARP();
        if (controls.countsExtended())
            countExtended();
    }

private:
    // The global counters and the classification run whatever the flags say. Only the low 16 bits of a frame's
    // length count. A broadcast isn't asked whether it is a multicast. A frame that throws when it is asked for
    // its length has been counted as a frame.
    void countFrame(long long overhead)
    {
        tree.globalStatistics.transmittedFrames.add(1);
        frameSize = static_cast<unsigned short>(frame.length()) + overhead;
        tree.globalStatistics.transmittedData.add(frameSize);
        broadcast = frame.isBroadcast();
        unicast = !broadcast && !frame.isMulticast();
    }

    void countFrameType()
    {
        CFrameTypesStat & types = tree.frameTables.frameTypes;
        CFrameTypeOrSizeStat & row = unicast ? types.unicast : broadcast ? types.broadcast : types.multicast;
        row.data.add(frameSize);
        row.frames.add(1);
    }

    // The limits are inclusive and hold for the size with the overhead, so that a row's bytes add up with the
    // global data. A negative size falls in the first row.
    void countFrameSize()
    {
        CFrameSizesStat & sizes = tree.frameTables.frameSizes;
        CFrameTypeOrSizeStat & row = frameSize <= 64     ? sizes.size64
                                     : frameSize <= 128  ? sizes.size128
                                     : frameSize <= 256  ? sizes.size256
                                     : frameSize <= 512  ? sizes.size512
                                     : frameSize <= 1024 ? sizes.size1024
                                                         : sizes.sizeOver1024;
        row.data.add(frameSize);
        row.frames.add(1);
    }

    // Every frame lands in this table, also one without a protocol.
    void countProtocol()
    {
        countTransmitted(tree.protocols, tree.protocols.countedRenewed(frame.protocol()), frameSize);
    }

    void countIP()
    {
        if (!(frame.protocol() == idOfWord(ipType)))
            return;
        CIPHeader const ip(frame.network());
        ipFrame = true;

        CIPConnectionStat::Container & connections = tree.ipConnections;
        CKeyBits<CIPConnectionStat::CKey> const key(ip.source() | static_cast<std::uint64_t>(ip.destination())
                                                                      << 32);
        countTransmitted(connections, connections.countedRenewed(key), frameSize);

        unsigned char const subprotocol = ip.subprotocol();
        auto & subprotocols = tree.ipSubprotocols;
        countTransmitted(subprotocols, subprotocols.counted(idOfByte(subprotocol)), frameSize);

        tcpFrame = subprotocol == CIPHeader::tcp;
        udpFrame = subprotocol == CIPHeader::udp;
        if (!tcpFrame && !udpFrame)
            return;
        sourcePort = ip.sourcePort();
        destinationPort = ip.destinationPort();
        countSourcePort(tree.ipPorts);
        countDestinationPort(tree.ipPorts);
    }

    // The port tables are those of the whole network or of a station. Each use of a range reads it afresh. A
    // frame whose ports are both in range counts in two rows, or twice in one, once each way.
    template <class Tables>
    void countSourcePort(Tables & tables)
    {
        if (tcpFrame && controls.tcpPorts.contains(sourcePort.number()))
            countTransmitted(tables.tcpPorts, tables.tcpPorts.counted(idOfWord(sourcePort.wire)), frameSize);
        else if (udpFrame && controls.udpPorts.contains(sourcePort.number()))
            countTransmitted(tables.udpPorts, tables.udpPorts.counted(idOfWord(sourcePort.wire)), frameSize);
    }

    template <class Tables>
    void countDestinationPort(Tables & tables)
    {
        if (tcpFrame && controls.tcpPorts.contains(destinationPort.number()))
            countReceived(tables.tcpPorts, tables.tcpPorts.counted(idOfWord(destinationPort.wire)),
                          frameSize);
        else if (udpFrame && controls.udpPorts.contains(destinationPort.number()))
            countReceived(tables.udpPorts, tables.udpPorts.counted(idOfWord(destinationPort.wire)),
                          frameSize);
    }

    // Every frame has a real sender, a broadcast too.
    void countSourceStation()
    {
        CStationStat * const row = tree.stations.countedRenewed(frame.source());
        countTransmitted(tree.stations, row, frameSize);
        if (!row) [[unlikely]] {
            CLostPorts ports(tree.stations.lostTables());
            return countSourcePort(ports);
        }
        nameVlan(*row);
        countSourcePort(*row);
    }

    // A tag leaves its second byte as a decimal number. The flag stays down, and a later frame without a tag
    // leaves the text in place.
    void nameVlan(CStationStat & station)
    {
        if (unsigned char const * const tag = frame.vlanTag())
            station.vlanId = std::to_string(tag[1]);
    }

    void countDestinationStation()
    {
        CStationStat * const row = tree.stations.countedRenewed(frame.destination());
        countReceived(tree.stations, row, frameSize);
        if (!row) [[unlikely]] {
            CLostPorts ports(tree.stations.lostTables());
            return countDestinationPort(ports);
        }
        countDestinationPort(*row);
    }

    void countMACConnection()
    {
        CMACConnectionStat::Container & connections = tree.macConnections;
        CKeyBits<CMACConnectionStat::CKey> const key(frame.source().number(), frame.destination().number());
        countTransmitted(connections, connections.countedRenewed(key), frameSize);
    }

    // A request teaches only its sender, since its target MAC is what it asks for; a reply teaches both ends. A
    // sender address of 0 is a probe and teaches nothing.
    void learnFromARP()
    {
        if (!(frame.protocol() == idOfWord(arpType)))
            return;
        CARPHeader const arp(frame.network());
        if (arp.protocolType() != ipType)
            return;
        unsigned int const opcode = arp.opcode();
        if (opcode != CARPProtocol::request && opcode != CARPProtocol::reply)
            return;
        if (CIPAddress const sender = arp.senderIP(); sender != CIPAddress(0))
            changedBindings += learnBinding(tree.arpTable, sender, CMACAddrPacked(arp.senderMAC())) ? 1U : 0U;
        if (opcode != CARPProtocol::reply)
            return;
        bool const changed = learnBinding(tree.arpTable, arp.targetIP(), CMACAddrPacked(arp.targetMAC()));
        // Who replies to itself names no other end.
        if (changed && arp.targetIP() != arp.senderIP())
            ++changedBindings;
    }

    // What the second tree counts of the frame, if it is asked to.
    void countExtended()
    {
        CBoundedBytes const network = frame.network();
        unsigned int const offset = frame.networkOffset();
        auto const length = static_cast<unsigned int>(frame.length());
        unsigned int const networkLength = length > offset ? length - offset : 0;
        unsigned char const * const tag = frame.vlanTag();
        if (!tag && frame.protocol() == idOfWord(ipType) && isUsualIP(network, networkLength)) [[likely]]
            return;
        if (!tag && frame.protocol() == idOfWord(ipv6Type) && isUsualIPv6(network, networkLength)) {
            if (unicast)
                passOverUsualIPv6(extended, controls, network.data(), frameSize);
            return;
        }
        passOverExtended(extended, controls,
                         {.protocol = frame.protocol(),
                          .bytes = frame.bytes(),
                          .network = network,
                          .networkLength = networkLength,
                          .size = frameSize,
                          .unicast = unicast,
                          .changedBindings = changedBindings,
                          .tag = tag});
    }

    CAgentStatistic & tree;
    CExtendedStatistic & extended;
    CPassControls const & controls;
    Frame const & frame;

    long long frameSize = 0; // bytes that every statistic counts the frame for: its length and the overhead
    bool broadcast = false;
    bool unicast = false; // neither broadcast nor multicast
    unsigned int changedBindings = 0;

    // Found by the IP step, and only if it ran.
    bool ipFrame = false;
    bool tcpFrame = false;
    bool udpFrame = false;
    CPortOnWire sourcePort;
    CPortOnWire destinationPort;
};

} // namespace

void CKetrinStatManager::doAnalyzeFrame(CNetworkFrame * frame)
{
    CHostFrame const hostFrame(*frame);
    CFramePass(agentStatistic, extendedStatistic, controls, hostFrame).run(overhead);
}

void CKetrinStatManager::doAnalyzeFrame(CFrameView const & view)
{
    CPlainFrame const plainFrame(view);
    CFramePass(agentStatistic, extendedStatistic, controls, plainFrame).run(overhead);
}

void CPlainFrame::analyse()
{
    CEthernetInfo media;
    analyseEthernet(m_bytes, media);
    m_destination = CMACBits(CMACAddrPacked(media.destinationMAC));
    m_source = CMACBits(CMACAddrPacked(media.sourceMAC));
    m_protocol = CProtocolBits(CProtocolIdPacked(media.GetProtocolId()));
    m_networkOffset = media.networkOffset;
    m_tagged = media.hasVlanTag();
    m_tag[0] = media.vlanTag[0];
    m_tag[1] = media.vlanTag[1];
}

} // namespace KetStats
