#include "ketstats/extended/ExtendedPass.h"

#include "ketstats/capture/EthernetAnalysis.h"
#include "ketstats/capture/IPv6Header.h"
#include "ketstats/engine/Counting.h"
#include "ketstats/engine/FrameSources.h"
#include "ketstats/engine/NetworkProtocol.h"
#include "ketstats/extended/NeighbourMessage.h"
#include "ketstats/model/RowCounts.h"

// "IPv6 traffic" is renewed with each frame, so that its oldest row is the one idle longest; the other tables keep the
// order in which their rows were created. Addresses, protocols and ports are those of unicast frames; VLANs, neighbours,
// signals and tunnels are of all.

namespace KetStats {

namespace {

enum : unsigned char
{
    icmp = 1,
    ipv4InIp = 4,
    tcp = 6,
    udp = 17,
    ipv6InIp = 41,
    greTunnel = 47,
    icmpV6 = 58,
};

enum : unsigned short
{
    ipType = 0x0800,
    arpType = 0x0806,
    ipv6Type = 0x86DD,
    mplsType = 0x8847,
    mplsMulticastType = 0x8848,
    pppoeDiscoveryType = 0x8863,
    pppoeSessionType = 0x8864,
};

class CExtendedPass
{
public:
    CExtendedPass(CExtendedStatistic & theTree, CPassControls const & theControls,
                  CFrameFacts const & theFrame)
        : tree(theTree),
          controls(theControls),
          enabled(theControls.extended.load(std::memory_order_relaxed)),
          frame(theFrame)
    {}

    void run()
    {
        if (counts(4) && frame.tag)
            countVlans();
        if (frame.protocol == ipv6Type)
            countIPv6(CIPv6Header(frame.network));
        else if (frame.protocol == ipType)
            countIP();
        else if (frame.protocol == arpType)
            countARP(CARPHeader(frame.network));
        else if (counts(7))
            countLinkTunnel();
    }

private:
    bool counts(unsigned int group) const { return (enabled >> group & 1) != 0; }

    // A third tag and those behind it are as good as none.
    void countVlans()
    {
        countVlan(tree.vlans.outer, static_cast<unsigned int>(frame.tag[0]) << 8 | frame.tag[1]);
        if (ethernet::isVlanType(frame.behindTag.word(0)))
            countVlan(tree.vlans.inner, frame.behindTag.word(2));
    }

    template <class Table>
    void countVlan(Table & table, unsigned int tag)
    {
        auto const wire = static_cast<std::uint16_t>((tag & 0xFF) << 8 | (tag >> 8 & 0x0F));
        countTransmitted(table, table.counted(idOfWord(wire)), frame.size);
    }

    void countIPv6(CIPv6Header const & ip)
    {
        if (frame.unicast)
            countIPv6Tables(ip);
        if (ip.protocol() == icmpV6 && counts(5))
            learnNeighbour(ip);
        if (counts(6)) {
            if (ip.isFragment())
                tree.signals.fragments.add(1);
            if (ip.length() > frame.networkLength)
                tree.signals.overlongPackets.add(1);
            if (ip.hasPayload() && ip.protocol() == tcp)
                countTCPSignals(frame.network.from(ip.payload()));
            else if (ip.hasPayload() && ip.protocol() == icmpV6)
                countErrorsV6(frame.network[ip.payload()]);
        }
        if (counts(7)) {
            CTunnelsStat & tunnels = tree.tunnels;
            if (ip.protocol() == ipv6InIp)
                countTunnel(tunnels.ipInIp);
            else
                countTunnelOver(ip.protocol(), frame.network.from(ip.payload()), ip.hasPayload());
        }
    }

    void countIPv6Tables(CIPv6Header const & ip)
    {
        if (counts(1)) {
            CKeyBits<CIPv6ConnectionStat::CKey> const key(
                {frame.network.number<std::uint64_t>(8), frame.network.number<std::uint64_t>(16),
                 frame.network.number<std::uint64_t>(24), frame.network.number<std::uint64_t>(32)});
            countTransmitted(tree.ipv6Connections, tree.ipv6Connections.countedRenewed(key), frame.size);
        }
        if (counts(2))
            countTransmitted(tree.ipv6Protocols, tree.ipv6Protocols.counted(idOfByte(ip.protocol())),
                             frame.size);
        if (!counts(3) || !ip.hasPayload() || !frame.network.holds(ip.payload(), 4))
            return;
        CPortOnWire const source{frame.network.number<std::uint16_t>(ip.payload())};
        CPortOnWire const destination{frame.network.number<std::uint16_t>(ip.payload() + 2)};
        if (ip.protocol() == tcp)
            countPorts(tree.ipv6Ports.tcpPorts, controls.tcpPorts, source, destination);
        else if (ip.protocol() == udp)
            countPorts(tree.ipv6Ports.udpPorts, controls.udpPorts, source, destination);
    }

    template <class Table>
    void countPorts(Table & table, CPortRange const & range, CPortOnWire source, CPortOnWire destination)
    {
        if (range.contains(source.number()))
            countTransmitted(table, table.counted(idOfWord(source.wire)), frame.size);
        if (range.contains(destination.number()))
            countReceived(table, table.counted(idOfWord(destination.wire)), frame.size);
    }

    void learnNeighbour(CIPv6Header const & ip)
    {
        auto const message = neighbourOf(ip);
        if (!message)
            return;
        bool const changed = learnBinding(tree.neighbours, message->address, message->mac);
        if (changed && counts(6))
            tree.signals.changedBindings.add(1);
    }

    void countIP()
    {
        CBoundedBytes const & ip = frame.network;
        unsigned char const protocol = ip[9];
        unsigned int const place = ip.word(6);
        bool const isFirst = (place & 0x1FFF) == 0;
        CBoundedBytes const header = ip.from((ip[0] & 0x0FU) * 4);
        if (counts(6)) {
            if ((place & 0x3FFF) != 0)
                tree.signals.fragments.add(1);
            if (ip.word(2) > frame.networkLength)
                tree.signals.overlongPackets.add(1);
            if (isFirst && protocol == tcp)
                countTCPSignals(header);
            else if (isFirst && protocol == icmp)
                countErrors(header[0], header[1]);
        }
        if (counts(7)) {
            if (protocol == ipv6InIp)
                countTunnel(tree.tunnels.sixInFour);
            else
                countTunnelOver(protocol, header, isFirst);
        }
    }

    // A connection is asked for, and taken, once each time that a frame says so: who repeats it is counted again.
    void countTCPSignals(CBoundedBytes const & header)
    {
        constexpr unsigned int fin = 1;
        constexpr unsigned int syn = 2;
        constexpr unsigned int reset = 4;
        constexpr unsigned int acknowledged = 16;
        unsigned int const flags = header[13];
        CSignalsStat & signals = tree.signals;
        if (flags & syn)
            (flags & acknowledged ? signals.tcpAccepted : signals.tcpRequested).add(1);
        if (flags & fin)
            signals.tcpEnded.add(1);
        if (flags & reset)
            signals.tcpReset.add(1);
        // What ends or begins has no window to speak of.
        if (!(flags & (fin | syn | reset)) && header.holds(0, 16) && header.word(14) == 0)
            signals.zeroWindows.add(1);
    }

    void countErrors(unsigned char type, unsigned char code)
    {
        constexpr unsigned char fragmentationNeeded = 4;
        CSignalsStat & signals = tree.signals;
        switch (type) {
        case 3:
            (code == fragmentationNeeded ? signals.packetTooBig : signals.unreachable).add(1);
            break;
        case 4:
            signals.sourceQuench.add(1);
            break;
        case 5:
            signals.redirects.add(1);
            break;
        case 11:
            signals.timeExceeded.add(1);
            break;
        case 12:
            signals.parameterProblem.add(1);
            break;
        default:
            break;
        }
    }

    void countErrorsV6(unsigned char type)
    {
        CSignalsStat & signals = tree.signals;
        switch (type) {
        case 1:
            signals.unreachable.add(1);
            break;
        case 2:
            signals.packetTooBig.add(1);
            break;
        case 3:
            signals.timeExceeded.add(1);
            break;
        case 4:
            signals.parameterProblem.add(1);
            break;
        case 137:
            signals.redirects.add(1);
            break;
        default:
            break;
        }
    }

    // The packets from which the first tree learns.
    void countARP(CARPHeader const & arp)
    {
        constexpr std::uint16_t ipOnWire = 0x0008;
        if (!counts(6) || arp.protocolType() != ipOnWire)
            return;
        unsigned int const opcode = arp.opcode();
        if (opcode != CARPProtocol::request && opcode != CARPProtocol::reply)
            return;
        CSignalsStat & signals = tree.signals;
        (opcode == CARPProtocol::reply ? signals.arpReplies : signals.arpRequests).add(1);
        CIPAddress const sender = arp.senderIP();
        if (sender != CIPAddress(0) && sender == arp.targetIP())
            signals.gratuitousArps.add(1);
        if (frame.changedBindings != 0)
            signals.changedBindings.add(frame.changedBindings);
    }

    void countTunnelOver(unsigned char protocol, CBoundedBytes const & header, bool hasHeader)
    {
        CTunnelsStat & tunnels = tree.tunnels;
        if (protocol == ipv4InIp)
            countTunnel(tunnels.ipInIp);
        else if (protocol == greTunnel)
            countTunnel(tunnels.gre);
        else if (protocol == udp && hasHeader && header.holds(0, 4)) {
            unsigned int const port = header.word(2);
            if (port == vxlanPort)
                countTunnel(tunnels.vxlan);
            else if (port == genevePort)
                countTunnel(tunnels.geneve);
        }
    }

    void countLinkTunnel()
    {
        if (frame.protocol == mplsType || frame.protocol == mplsMulticastType)
            countTunnel(tree.tunnels.mpls);
        else if (frame.protocol == pppoeSessionType || frame.protocol == pppoeDiscoveryType)
            countTunnel(tree.tunnels.pppoe);
    }

    void countTunnel(CFrameTypeOrSizeStat & row)
    {
        row.data.add(frame.size);
        row.frames.add(1);
    }

    CExtendedStatistic & tree;
    CPassControls const & controls;
    unsigned int enabled;
    CFrameFacts const & frame;
};

} // namespace

void passOverExtended(CExtendedStatistic & tree, CPassControls const & controls, CFrameFacts const & frame)
{
    CExtendedPass(tree, controls, frame).run();
}

} // namespace KetStats
