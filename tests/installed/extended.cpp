// The second tree: its classes, and its way from frames to what a console reads, with rows of the longest key.

#include "Check.h"

#include "ketstats/ketstats.h"

#include <cstring>
#include <memory>
#include <typeinfo>

using namespace KetStats;

namespace {

// A connection of IPv6 that is asked for, in VLAN 5.
struct Request
{
    Request()
    {
        constexpr unsigned char start[] = {2, 0, 0,    0, 0, 1, 2,    0,    0,   0,
                                           0, 2, 0x81, 0, 0, 5, 0x86, 0xDD, 0x60};
        std::memcpy(bytes, start, sizeof start);
        bytes[ip + 5] = 20; // bytes of TCP
        bytes[ip + 6] = 6;
        std::memcpy(bytes + ip + 8, from.bytes.data(), 16);
        std::memcpy(bytes + ip + 24, to.bytes.data(), 16);
        bytes[tcp + 3] = 80;
        bytes[tcp + 13] = 2; // SYN
    }

    static CIPv6Address address(unsigned char last)
    {
        CIPv6Address result({0x20, 0x01, 0x0D, 0xB8});
        result.bytes[15] = last;
        return result;
    }

    static constexpr unsigned int ip = 18;
    static constexpr unsigned int tcp = ip + 40;
    CIPv6Address const from = address(1);
    CIPv6Address const to = address(2);
    unsigned char bytes[tcp + 20] = {};
    CNetworkFrame frame{bytes, sizeof bytes, sizeof bytes};
};

template <class Group>
void group(CBaseStat const & inTree, char const * name)
{
    Group const made(nullptr, 7);
    CBaseStat const & base = made;
    check(dynamic_cast<Group const *>(&inTree) && typeid(base) == typeid(inTree), name);
    check(base.getDescription() == &Group::groupDescription() &&
              inTree.getDescription() == &Group::groupDescription(),
          name);
}

template <class Row>
void table(CBaseStat const & inTree, char const * name)
{
    typename Row::Container const * const rows = dynamic_cast<typename Row::Container const *>(&inTree);
    check(rows && dynamic_cast<CBaseHashedContainerStat const *>(&inTree) && rows->size() == 0, name);
    Row const made(nullptr, 7);
    CBaseStat const & base = made;
    check(base.getId() == 7 && base.getDescription() == &Row::groupDescription(), name);
}

void classes()
{
    CExtendedStatistic const tree;
    group<CIPv6PortsStat>(tree.ipv6Ports, "CIPv6PortsStat");
    group<CVlansStat>(tree.vlans, "CVlansStat");
    group<CSignalsStat>(tree.signals, "CSignalsStat");
    group<CTunnelsStat>(tree.tunnels, "CTunnelsStat");
    table<CIPv6ConnectionStat>(tree.ipv6Connections, "CIPv6ConnectionStat");
    table<CIPv6ProtoStat>(tree.ipv6Protocols, "CIPv6ProtoStat");
    table<CIPv6TcpPortStat>(tree.ipv6Ports.tcpPorts, "CIPv6TcpPortStat");
    table<CIPv6UdpPortStat>(tree.ipv6Ports.udpPorts, "CIPv6UdpPortStat");
    table<COuterVlanStat>(tree.vlans.outer, "COuterVlanStat");
    table<CInnerVlanStat>(tree.vlans.inner, "CInnerVlanStat");
    table<CNeighbourStat>(tree.neighbours, "CNeighbourStat");
}

// What a host makes for itself of the library's templates.
void rowsOfTheHost()
{
    Request const request;
    CIPv6ConnectionStat::CKey const there(request.from, request.to);
    CIPv6ConnectionStat::CKey const back(request.to, request.from);
    CExtendedStatistic tree;
    CIPv6ConnectionStat * const row = tree.ipv6Connections[there];
    tree.ipv6Connections[back];
    check(row && tree.ipv6Connections.find(there) == row && tree.ipv6Connections.size() == 2,
          "rows by keys of 32 bytes");
    CBaseStat const & base = *row;
    check(typeid(base) == typeid(CIPv6ConnectionStat), "class of a row of IPv6");
    std::unique_ptr<CFilter> const filter(buildFilter(row));
    check(filter && filter->IsSatisfied(&request.frame), "filter of a row of IPv6");
}

void texts()
{
    CIPv6Address const address = Request::address(1);
    check(ipv6Text(address.bytes.data()) == "2001:db8::1", "ipv6Text");
    CStatFormatBase const & canonical = CIPv6AddressFormat();
    CStatFormatBase const & raw = CIPv6AddressBytesFormat();
    check(canonical.formatValue(address.bytes.data(), 16, nullptr) == "2001:db8::1", "CIPv6AddressFormat");
    check(raw.formatValue(address.bytes.data(), 16, nullptr) ==
              "20-01-0D-B8-00-00-00-00-00-00-00-00-00-00-00-01",
          "CIPv6AddressBytesFormat");
    CStatFormatContainerBase const & list = CStandardIPv6Formats();
    check(dynamic_cast<CStandardIPv6Formats const *>(&list) && list.size() == StandardIPv6Formats->size() &&
              CustomIPv6Formats->size() == 0,
          "lists of formats of IPv6");
    CIPv6AddressStatDescription const description("Address");
    CValueStat<CIPv6Address> const others(nullptr, 1, description);
    check(description.formatValue(&others, 0, nullptr) == "[others]", "CIPv6AddressStatDescription");
}

bool shows(CStatSnapshot const & console, char const * oid, double number)
{
    CBaseStat const * const stat = console.getStat(oid);
    return stat && stat->getNumeric() == number;
}

// A clock that a second goes by on whenever it is asked: samples of no time leave the count of all frames as it was.
long long secondsGoBy()
{
    constexpr long long second = 10'000'000;
    static long long now = 130'000'000'000'000'000;
    return now += second;
}

void fromFramesToAConsole()
{
    CSystemTime::setSource(&secondsGoBy);
    CKetrinStatManager manager;
    for (char const * const oid : {"2.1", "2.2", "2.3", "2.4", "2.6"})
        check(manager.enableStatistic(oid), "groups of the second tree");
    manager.beginAnalyzing(nullptr);
    CStatSnapshot agent;
    agent.addOid("1.1"); // averages and shares are of all frames
    agent.addOid("2");
    manager.initSnapshot(&agent);
    Request request;
    manager.analyzeFrame(&request.frame);
    manager.nextSample(&agent);
    CSystemTime::setSource(nullptr);
    ktools::CMemoryBuffer packed;
    agent.pack(packed, false);

    CStatSnapshot console;
    console.unpack(packed);
    console.calculatePercentStats();

    check(shows(console, "2.6.1", 1) && shows(console, "2.6.2", 0), "signals");
    check(shows(console, "2.1.1.4", 1) && shows(console, "2.1.1.3", 82), "IPv6 traffic");
    check(shows(console, "2.2.1.3", 1) && shows(console, "2.3.1.1.5", 1), "IPv6 protocols and ports");
    check(shows(console, "2.4.1.1.3", 1) && shows(console, "2.4.1.1.4", 82), "VLANs");
    CBaseStat const * const source = console.getStat("2.1.1.1");
    check(source && source->getDescription()->getStringDescription() == "Source" &&
              dynamic_cast<CValueStat<CIPv6Address> const &>(*source).get() == request.from,
          "address of a row");
}

} // namespace

void secondTree()
{
    classes();
    rowsOfTheHost();
    texts();
    fromFramesToAConsole();
}
