#include "ketstats/extended/ExtendedPass.h"

#include "ketstats/capture/EthernetAnalysis.h"
#include "ketstats/capture/IPv6Header.h"
#include "ketstats/engine/Counting.h"
#include "ketstats/engine/FrameSources.h"
#include "ketstats/engine/NetworkProtocol.h"
#include "ketstats/extended/NeighbourMessage.h"
#include "ketstats/model/RowCounts.h"

#include <cstring>

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

// As they lie in a frame.
enum : std::uint16_t
{
    ipType = 0x0008,
    arpType = 0x0608,
    ipv6Type = 0xDD86,
    mplsType = 0x4788,
    mplsMulticastType = 0x4888,
    pppoeDiscoveryType = 0x6388,
    pppoeSessionType = 0x6488,
};

// Of the groups that are enabled, a bit each by their ids.
bool isOn(unsigned int enabled, unsigned int group)
{
    return (enabled >> group & 1) != 0;
}

// Bytes that are known to be there, which need no look at where they end.
class CHeldBytes
{
public:
    explicit CHeldBytes(unsigned char const * data) : m_data(data) {}

    static bool holds(unsigned int /*offset*/, unsigned int /*count*/) { return true; }
    template <class Word>
    Word number(unsigned int offset) const
    {
        Word result;
        std::memcpy(&result, m_data + offset, sizeof result);
        return result;
    }

private:
    unsigned char const * m_data;
};

// The bytes of the packets are CBoundedBytes or CHeldBytes.
template <class Bytes>
class CIPv6Tables
{
public:
    CIPv6Tables(CExtendedStatistic & theTree, CPassControls const & theControls, unsigned int enabledGroups,
                long long frameSize)
        : tree(theTree),
          controls(theControls),
          enabled(enabledGroups),
          size(frameSize)
    {}

    // Addresses, and the protocol that the walk over the headers found.
    void countHeader(Bytes const & ip, unsigned char protocol) const
    {
        if (isOn(enabled, 1)) {
            CKeyBits<CIPv6ConnectionStat::CKey> const key(
                {ip.template number<std::uint64_t>(8), ip.template number<std::uint64_t>(16),
                 ip.template number<std::uint64_t>(24), ip.template number<std::uint64_t>(32)});
            countTransmitted(tree.ipv6Connections, tree.ipv6Connections.countedRenewed(key), size);
        }
        if (isOn(enabled, 2))
            countTransmitted(tree.ipv6Protocols, tree.ipv6Protocols.counted(idOfByte(protocol)), size);
    }

    // Ports, if they were captured.
    void countPorts(Bytes const & ip, unsigned int at, unsigned char protocol) const
    {
        if (!isOn(enabled, 3) || !ip.holds(at, 4))
            return;
        CPortOnWire const source{ip.template number<std::uint16_t>(at)};
        CPortOnWire const destination{ip.template number<std::uint16_t>(at + 2)};
        if (protocol == tcp)
            countPorts(tree.ipv6Ports.tcpPorts, controls.tcpPorts, source, destination);
        else if (protocol == udp)
            countPorts(tree.ipv6Ports.udpPorts, controls.udpPorts, source, destination);
    }

private:
    template <class Table>
    void countPorts(Table & table, CPortRange const & range, CPortOnWire source,
                    CPortOnWire destination) const
    {
        if (range.contains(source.number()))
            countTransmitted(table, table.counted(idOfWord(source.wire)), size);
        if (range.contains(destination.number()))
            countReceived(table, table.counted(idOfWord(destination.wire)), size);
    }

    CExtendedStatistic & tree;
    CPassControls const & controls;
    unsigned int enabled;
    long long size;
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
        if (is(ipv6Type))
            countIPv6(CIPv6Header(frame.network));
        else if (is(ipType))
            countIP();
        else if (is(arpType))
            countARP(CARPHeader(frame.network));
        else if (counts(7))
            countLinkTunnel();
    }

private:
    bool is(std::uint16_t type) const { return frame.protocol == idOfWord(type); }
    bool counts(unsigned int group) const { return isOn(enabled, group); }

    // A third tag and those behind it are as good as none.
    void countVlans()
    {
        countVlan(tree.vlans.outer, static_cast<unsigned int>(frame.tag[0]) << 8 | frame.tag[1]);
        CBoundedBytes const behind = frame.bytes.from(ethernet::headerSize + 2);
        if (ethernet::isVlanType(behind.word(0)))
            countVlan(tree.vlans.inner, behind.word(2));
    }

    template <class Table>
    void countVlan(Table & table, unsigned int tag)
    {
        auto const wire = static_cast<std::uint16_t>((tag & 0xFF) << 8 | (tag >> 8 & 0x0F));
        countTransmitted(table, table.counted(idOfWord(wire)), frame.size);
    }

    void countIPv6(CIPv6Header const & ip)
    {
        if (frame.unicast) {
            CIPv6Tables<CBoundedBytes> const tables(tree, controls, enabled, frame.size);
            tables.countHeader(frame.network, ip.protocol());
            if (ip.hasPayload())
                tables.countPorts(frame.network, ip.payload(), ip.protocol());
        }
        unsigned char const protocol = ip.protocol();
        CBoundedBytes const payload = frame.network.from(ip.payload());
        if (protocol == icmpV6 && counts(5))
            learnNeighbour(ip);
        if (counts(6)) {
            if (ip.isFragment())
                tree.signals.fragments.add(1);
            if (ip.length() > frame.networkLength)
                tree.signals.overlongPackets.add(1);
            if (protocol == tcp && ip.hasPayload())
                countTCPSignals(payload);
            else if (protocol == icmpV6 && ip.hasPayload())
                countErrorsV6(payload[0]);
        }
        if (protocol == tcp || !counts(7))
            return;
        if (protocol == ipv6InIp)
            countTunnel(tree.tunnels.ipInIp);
        else
            countTunnelOver(protocol, payload, ip.hasPayload());
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
        // What ends or begins has no window to speak of.
        if (!(flags & (fin | syn | reset))) [[likely]] {
            if (header.holds(0, 16) && header.word(14) == 0)
                signals.zeroWindows.add(1);
            return;
        }
        if (flags & syn)
            (flags & acknowledged ? signals.tcpAccepted : signals.tcpRequested).add(1);
        if (flags & fin)
            signals.tcpEnded.add(1);
        if (flags & reset)
            signals.tcpReset.add(1);
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
        if (!counts(6) || arp.protocolType() != ipType)
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
        if (is(mplsType) || is(mplsMulticastType))
            countTunnel(tree.tunnels.mpls);
        else if (is(pppoeSessionType) || is(pppoeDiscoveryType))
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

void passOverUsualIPv6(CExtendedStatistic & tree, CPassControls const & controls,
                       unsigned char const * packet, long long size)
{
    CIPv6Tables<CHeldBytes> const tables(tree, controls, controls.extended.load(std::memory_order_relaxed),
                                         size);
    CHeldBytes const ip(packet);
    auto const protocol = ip.number<unsigned char>(6);
    tables.countHeader(ip, protocol);
    tables.countPorts(ip, CIPv6Header::size, protocol);
}

void passOverExtended(CExtendedStatistic & tree, CPassControls const & controls, CFrameFacts const & frame)
{
    CExtendedPass(tree, controls, frame).run();
}

} // namespace KetStats
