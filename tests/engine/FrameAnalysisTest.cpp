#include "ketstats/engine/StatManager.h"

#include "tests/support/Allocations.h"
#include "tests/support/Frames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <ostream>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

using namespace KetStats;
using test::Bytes;
using test::bytes;
using test::everybody;
using test::Frame;
using test::Host;
using test::host;
using test::hostA;
using test::hostB;
using test::hostC;
using test::id;
using test::ip;
using test::mac;
using test::somebody;
using test::tcpFrame;
using test::udpFrame;
using test::operator+;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

// What a row holds for one direction.
struct Counts
{
    unsigned int frames = 0;
    long long data = 0;

    friend bool operator==(Counts const &, Counts const &) = default;
    friend std::ostream & operator<<(std::ostream & out, Counts const & counts)
    {
        return out << counts.frames << " frames, " << counts.data << " bytes";
    }
};
Counts const nothing;

// Those of a row that isn't there are nothing.
template <class Row>
Counts transmitted(Row const * row)
{
    return row ? Counts{row->framesTransmitted.get(), row->dataTransmitted.get()} : nothing;
}
template <class Row>
Counts received(Row const * row)
{
    return row ? Counts{row->framesReceived.get(), row->dataReceived.get()} : nothing;
}

// Row ids from the oldest to the newest.
std::vector<unsigned int> order(CBaseHashedContainerStat const & table)
{
    std::vector<unsigned int> ids;
    for (unsigned int rowId = table.getOldestId(); rowId != 0; rowId = table.getNextNewerId(rowId))
        ids.push_back(rowId);
    return ids;
}

// A frame on Ethernet counts with the four bytes that captures leave out.
long long sizeOf(Bytes const & data)
{
    return static_cast<long long>(data.size()) + 4;
}

long long const tcpSize = sizeOf(tcpFrame(hostA, hostB, 1, 2));
long long const udpSize = sizeOf(udpFrame(hostA, hostB, 1, 2));

CIPConnectionStat::CKey ipPair(Host const & from, Host const & to)
{
    return {ip(from.ip), ip(to.ip)};
}

CMACConnectionStat::CKey macPair(Host const & from, Host const & to)
{
    return {CMACAddr(mac(from.mac).bytes.data()), CMACAddr(mac(to.mac).bytes.data())};
}

class FrameAnalysis : public testing::Test
{
protected:
    FrameAnalysis() { manager.beginAnalyzing(nullptr); }

    void enable(std::initializer_list<int> groups)
    {
        for (int const group : groups)
            manager.enableStatistic(COid("1." + std::to_string(group)));
    }
    void enableAll() { enable({1, 2, 3, 4, 5, 6, 7, 8, 9}); }

    void count(CNetworkFrame & frame) { manager.analyzeFrame(&frame); }
    void count(Bytes const & data)
    {
        Frame frame(data);
        count(frame);
    }

    CAgentStatistic & tree() { return manager.getAgentStatistic(); }
    CStationStat const * station(Host const & of) { return tree().stations.find(mac(of.mac)); }
    CStationStat const & stationAt(Host const & of)
    {
        return station(of) ? *station(of) : throw std::out_of_range("no such station");
    }
    CGenPortStat<0> const * tcpPort(unsigned int number) { return tree().ipPorts.tcpPorts.find(id(number)); }
    CGenPortStat<1> const * udpPort(unsigned int number) { return tree().ipPorts.udpPorts.find(id(number)); }

    // What a station's row of that port holds.
    Counts tcpTransmitted(Host const & of, unsigned int port)
    {
        return station(of) ? transmitted(station(of)->tcpPorts.find(id(port))) : nothing;
    }
    Counts tcpReceived(Host const & of, unsigned int port)
    {
        return station(of) ? received(station(of)->tcpPorts.find(id(port))) : nothing;
    }

    CKetrinStatManager manager;
};

// Which steps run: every combination of the flags, for frames of every kind.

struct Kind
{
    char const * name;
    Bytes data;
    bool unicast;
    bool ip;
    bool tcp;
    unsigned int bindings; // that it teaches
};

std::vector<Kind> kinds()
{
    return {
        {"unicast TCP", tcpFrame(hostA, hostB, 80, 443), true, true, true, 0},
        {"unicast UDP", udpFrame(hostA, hostB, 53, 54), true, true, false, 0},
        {"unicast ICMP", test::ipFrame(hostA, hostB, 1), true, true, false, 0},
        {"broadcast TCP", tcpFrame(hostA, everybody, 80, 443), false, true, true, 0},
        {"broadcast UDP", udpFrame(hostA, everybody, 67, 68), false, true, false, 0},
        {"multicast UDP", udpFrame(hostA, somebody, 53, 54), false, true, false, 0},
        {"unicast of an unknown protocol", test::ethernet(test::macB, test::macA, 0x88B5), true, false, false,
         0},
        {"broadcast of an unknown protocol", test::ethernet(test::broadcastMac, test::macA, 0x88B5), false,
         false, false, 0},
        {"ARP request", test::arpRequest(hostA, hostB), false, false, false, 1},
        {"ARP reply", test::arpReply(hostA, hostB), true, false, false, 2},
    };
}

TEST_F(FrameAnalysis, StepsRunAsTheirFlagsSay)
{
    for (unsigned int flags = 0; flags < 512; ++flags) {
        auto const on = [&](int group) { return (flags >> (group - 1) & 1) != 0; };
        for (int group = 1; group <= 9; ++group) {
            COid const oid("1." + std::to_string(group));
            on(group) ? manager.enableStatistic(oid) : manager.disableStatistic(oid);
        }
        for (Kind const & kind : kinds()) {
            SCOPED_TRACE(testing::Message() << kind.name << ", flags " << flags);
            manager.reset();
            count(kind.data);

            CAgentStatistic & root = tree();
            CFrameTypesStat const & types = root.frameTables.frameTypes;
            bool const ipStep = kind.unicast && kind.ip && on(8);
            bool const ports = ipStep && kind.data[23] != 1;
            EXPECT_EQ(root.globalStatistics.transmittedFrames.get(), 1U);
            EXPECT_EQ(root.globalStatistics.transmittedData.get(), sizeOf(kind.data));
            EXPECT_EQ(types.unicast.frames.get(), on(4) && kind.unicast ? 1U : 0U);
            EXPECT_EQ(types.broadcast.frames.get() + types.multicast.frames.get(),
                      on(4) && !kind.unicast ? 1U : 0U);
            EXPECT_EQ(root.frameTables.frameSizes.size64.frames.get(), on(4) ? 1U : 0U);
            EXPECT_EQ(root.protocols.size(), on(6) ? 1U : 0U);
            EXPECT_EQ(root.ipConnections.size(), ipStep ? 1U : 0U);
            EXPECT_EQ(root.ipSubprotocols.size(), ipStep ? 1U : 0U);
            EXPECT_EQ(root.ipPorts.tcpPorts.size(), ports && kind.tcp ? 2U : 0U);
            EXPECT_EQ(root.ipPorts.udpPorts.size(), ports && !kind.tcp ? 2U : 0U);
            EXPECT_EQ(root.stations.size(), !on(5) ? 0U : kind.unicast ? 2U : 1U);
            for (Host const & of : {hostA, hostB})
                if (CStationStat const * const row = station(of)) {
                    EXPECT_EQ(row->tcpPorts.size(), ports && kind.tcp ? 1U : 0U);
                    EXPECT_EQ(row->udpPorts.size(), ports && !kind.tcp ? 1U : 0U);
                }
            EXPECT_EQ(root.macConnections.size(), kind.unicast && (on(5) || on(7)) ? 1U : 0U);
            EXPECT_EQ(root.arpTable.size(), kind.bindings);
            if (HasFailure())
                return;
        }
    }
}

// A flag is read where it is needed: host code that runs within the pass turns a later step off.
CKetrinStatManager * handlersManager = nullptr;

TEST_F(FrameAnalysis, FlagsAreReadAtTheirStep)
{
    enable({5, 6});
    for (unsigned int i = 0; i < 199; ++i)
        count(test::ethernet(test::broadcastMac, test::macA, 0x1000 + i));
    handlersManager = &manager;
    tree().protocols.registerDeleteHandler(
        [](CProtocolStat::Container *, unsigned int) { handlersManager->disableStatistic(COid("1.5")); });

    count(tcpFrame(hostC, hostB, 1, 2)); // its protocol evicts another, and stations come after protocols

    EXPECT_EQ(station(hostC), nullptr);
    EXPECT_EQ(tree().macConnections.size(), 0U);
}

// Protocols.

TEST_F(FrameAnalysis, EveryFrameLandsInItsProtocol)
{
    enable({6});
    count(tcpFrame(hostA, hostB, 1, 2));
    count(udpFrame(hostA, everybody, 1, 2));
    count(test::arpRequest(hostA, hostB));
    count(test::tagged(tcpFrame(hostB, hostA, 1, 2), 7));
    count(test::ethernet(test::macB, test::macA, 0x0010) + bytes("42 42 03"));
    count(Bytes()); // the all-zero frame: an 802.3 length of 0 and a destination access point of 0

    EXPECT_EQ(tree().protocols.size(), 4U);
    EXPECT_EQ(transmitted(tree().protocols.find(id(0x0800))), (Counts{3, 2 * tcpSize + 4 + udpSize}));
    EXPECT_EQ(transmitted(tree().protocols.find(id(0x0806))), (Counts{1, 14 + 28 + 4}));
    EXPECT_EQ(transmitted(tree().protocols.find(id(0x42))), (Counts{1, 17 + 4}));
    EXPECT_EQ(transmitted(tree().protocols.find(CProtocolIdPacked())), (Counts{1, 4}));
    EXPECT_EQ(tree().protocols.find(id(0x0800))->averageFrameSize.get(), 0U) << "left to the reading client";
    EXPECT_EQ(tree().protocols.find(id(0x0800))->percentage.get().value, 0.0);
}

TEST_F(FrameAnalysis, LengthOnTheWireCountsAndNotTheCapturedOne)
{
    enableAll();
    Bytes const data = tcpFrame(hostA, hostB, 80, 81);
    Frame frame(data, 1500);
    count(frame);
    Frame huge(data, 65536 + 100);
    count(huge);

    Counts const both{2, 1504 + 104};
    EXPECT_EQ(transmitted(tree().protocols.find(id(0x0800))), both);
    EXPECT_EQ(transmitted(tree().ipConnections.find(ipPair(hostA, hostB))), both);
    EXPECT_EQ(transmitted(tree().ipSubprotocols.find(id(6))), both);
    EXPECT_EQ(transmitted(tcpPort(80)), both);
    EXPECT_EQ(received(tcpPort(81)), both);
    EXPECT_EQ(transmitted(station(hostA)), both);
    EXPECT_EQ(received(station(hostB)), both);
    EXPECT_EQ(tcpTransmitted(hostA, 80), both);
    EXPECT_EQ(tcpReceived(hostB, 81), both);
    EXPECT_EQ(transmitted(tree().macConnections.find(macPair(hostA, hostB))), both);
}

TEST_F(FrameAnalysis, CountersWrap)
{
    enable({6});
    CProtocolStat & row = *tree().protocols[id(0x0800)];
    row.framesTransmitted = std::numeric_limits<unsigned int>::max();
    row.dataTransmitted = std::numeric_limits<long long>::max() - tcpSize + 1;

    count(tcpFrame(hostA, hostB, 1, 2));

    EXPECT_EQ(row.framesTransmitted.get(), 0U);
    EXPECT_EQ(row.dataTransmitted.get(), std::numeric_limits<long long>::min());
}

// IP.

TEST_F(FrameAnalysis, DirectionsAreTwoConnections)
{
    enable({7, 8});
    count(tcpFrame(hostA, hostB, 1, 2));
    count(tcpFrame(hostB, hostA, 2, 1));
    count(tcpFrame(hostB, hostA, 2, 1));

    EXPECT_EQ(tree().ipConnections.size(), 2U);
    EXPECT_EQ(transmitted(tree().ipConnections.find(ipPair(hostA, hostB))), (Counts{1, tcpSize}));
    EXPECT_EQ(transmitted(tree().ipConnections.find(ipPair(hostB, hostA))), (Counts{2, 2 * tcpSize}));
    EXPECT_EQ(tree().macConnections.size(), 2U);
    EXPECT_EQ(transmitted(tree().macConnections.find(macPair(hostA, hostB))), (Counts{1, tcpSize}));
    EXPECT_EQ(transmitted(tree().macConnections.find(macPair(hostB, hostA))), (Counts{2, 2 * tcpSize}));

    CIPConnectionStat const & row = *tree().ipConnections.find(ipPair(hostA, hostB));
    EXPECT_EQ(row.source.get(), ip(hostA.ip));
    EXPECT_EQ(row.destination.get(), ip(hostB.ip));
    CMACConnectionStat const & macRow = *tree().macConnections.find(macPair(hostA, hostB));
    EXPECT_EQ(macRow.source.get(), mac(hostA.mac));
    EXPECT_EQ(macRow.destination.get(), mac(hostB.mac));
}

TEST_F(FrameAnalysis, IPBroadcastsAndMulticastsStayOutOfTheIPTables)
{
    enableAll();
    count(tcpFrame(hostA, everybody, 80, 81));
    count(udpFrame(hostA, somebody, 53, 54));
    count(udpFrame(hostA, {test::broadcastMac, hostB.ip}, 53, 54));

    EXPECT_EQ(tree().ipConnections.size(), 0U);
    EXPECT_EQ(tree().ipSubprotocols.size(), 0U);
    EXPECT_EQ(tree().ipPorts.tcpPorts.size() + tree().ipPorts.udpPorts.size(), 0U);
    EXPECT_EQ(tree().stations.size(), 1U) << "the sender is a real one, the destination isn't";
    EXPECT_EQ(transmitted(station(hostA)), (Counts{3, tcpSize + 2 * udpSize}));
    EXPECT_EQ(stationAt(hostA).tcpPorts.size() + stationAt(hostA).udpPorts.size(), 0U);
    EXPECT_EQ(tree().macConnections.size(), 0U);
    EXPECT_EQ(tree().arpTable.size(), 0U);
}

TEST_F(FrameAnalysis, WithoutTheIPGroupIPFramesCountElsewhere)
{
    enable({5, 6});
    count(tcpFrame(hostA, hostB, 80, 81));

    EXPECT_EQ(transmitted(tree().protocols.find(id(0x0800))), (Counts{1, tcpSize}));
    EXPECT_EQ(transmitted(station(hostA)), (Counts{1, tcpSize}));
    EXPECT_EQ(received(station(hostB)), (Counts{1, tcpSize}));
    EXPECT_EQ(tree().macConnections.size(), 1U);
    EXPECT_EQ(tree().ipConnections.size(), 0U);
    EXPECT_EQ(tree().arpTable.size(), 0U);
    EXPECT_EQ(stationAt(hostA).tcpPorts.size(), 0U);
    EXPECT_EQ(stationAt(hostB).tcpPorts.size(), 0U);
}

TEST_F(FrameAnalysis, SubprotocolsAreCountedByTheirNumber)
{
    enable({8});
    for (unsigned int number : {0U, 1U, 6U, 17U, 255U, 1U})
        count(test::ipFrame(hostA, hostB, number));

    long long const size = sizeOf(test::ipFrame(hostA, hostB, 1));
    EXPECT_EQ(tree().ipSubprotocols.size(), 5U);
    EXPECT_EQ(transmitted(tree().ipSubprotocols.find(id(1))), (Counts{2, 2 * size}));
    EXPECT_EQ(transmitted(tree().ipSubprotocols.find(id(255))), (Counts{1, size}));
    EXPECT_EQ(transmitted(tree().ipSubprotocols.find(id(0))), (Counts{1, size}));
}

TEST_F(FrameAnalysis, OnlyTCPAndUDPHavePorts)
{
    enable({5, 8});
    for (unsigned int number = 0; number < 256; ++number)
        if (number != 6 && number != 17)
            count(test::ipFrame(hostA, hostB, number, bytes("00 50 00 51")));

    EXPECT_EQ(tree().ipPorts.tcpPorts.size() + tree().ipPorts.udpPorts.size(), 0U);
    EXPECT_EQ(stationAt(hostA).tcpPorts.size() + stationAt(hostA).udpPorts.size(), 0U);
    EXPECT_EQ(transmitted(station(hostA)).frames, 254U);
}

TEST_F(FrameAnalysis, OptionsMoveThePorts)
{
    enable({5, 8});
    for (unsigned int words = 5; words <= 15; ++words) {
        manager.reset();
        count(tcpFrame(hostA, hostB, 80, 443, words));
        EXPECT_EQ(transmitted(tcpPort(80)).frames, 1U) << words;
        EXPECT_EQ(received(tcpPort(443)).frames, 1U) << words;
        EXPECT_EQ(tree().ipPorts.tcpPorts.size(), 2U) << words;
        EXPECT_EQ(tcpReceived(hostB, 443).frames, 1U) << words;
    }
}

TEST_F(FrameAnalysis, ShortHeaderLengthIsTakenAsItStands)
{
    enable({8});
    count(tcpFrame({hostA.mac, "0.80.1.187"}, hostB, 1, 2, 3)); // the payload lies over the source address

    EXPECT_NE(tree().ipConnections.find({ip("0.1.0.2"), ip("0.0.0.0")}), nullptr)
        << "the addresses stand where they always do";
    EXPECT_NE(tcpPort(1), nullptr);
    EXPECT_NE(tcpPort(2), nullptr);
}

TEST_F(FrameAnalysis, FragmentsAreReadAsIfTheyHadPorts)
{
    enable({8});
    Bytes first = tcpFrame(hostA, hostB, 80, 81);
    first[20] = 0x20; // more fragments
    count(first);
    Bytes later = tcpFrame(hostA, hostB, 82, 83);
    later[20] = 0x00;
    later[21] = 0xB9; // offset
    count(later);
    Bytes otherVersion = tcpFrame(hostA, hostB, 84, 85);
    otherVersion[14] = 0x65;
    count(otherVersion);

    for (unsigned int port : {80U, 82U, 84U}) {
        EXPECT_EQ(transmitted(tcpPort(port)), (Counts{1, tcpSize})) << port;
        EXPECT_EQ(received(tcpPort(port + 1)), (Counts{1, tcpSize})) << port;
    }
}

TEST_F(FrameAnalysis, CutFramesCountWithZeros)
{
    enableAll();
    manager.setTCPPortRange(0, 65535);
    Bytes const whole = tcpFrame({hostA.mac, "1.2.3.4"}, {hostB.mac, "5.6.7.8"}, 0x1122, 0x3344);

    Frame header(Bytes(whole.begin(), whole.begin() + 14), 54);
    count(header);
    EXPECT_NE(tree().ipConnections.find({ip("0.0.0.0"), ip("0.0.0.0")}), nullptr);
    EXPECT_NE(tree().ipSubprotocols.find(id(0)), nullptr);
    EXPECT_EQ(tree().ipPorts.tcpPorts.size(), 0U);

    Frame cut(Bytes(whole.begin(), whole.begin() + 32), 54);
    count(cut);
    EXPECT_NE(tree().ipConnections.find({ip("1.2.3.4"), ip("5.6.0.0")}), nullptr);
    EXPECT_EQ(transmitted(tcpPort(0)).frames, 1U);
    EXPECT_EQ(received(tcpPort(0)).frames, 1U);

    Frame onePort(Bytes(whole.begin(), whole.begin() + 37), 54);
    count(onePort);
    EXPECT_EQ(transmitted(tcpPort(0x1122)).frames, 1U);
    EXPECT_EQ(received(tcpPort(0x3300)).frames, 1U);
    EXPECT_EQ(transmitted(station(hostA)), (Counts{3, 3 * tcpSize}));
}

TEST_F(FrameAnalysis, IPIsFoundBehindTagsAndSnap)
{
    enable({5, 8});
    count(test::tagged(tcpFrame(hostA, hostB, 80, 81), 1));
    count(test::tagged(test::tagged(tcpFrame(hostA, hostB, 80, 81), 2), 1, 0x88A8));
    count(test::snap(tcpFrame(hostA, hostB, 80, 81)));
    count(test::tagged(test::snap(tcpFrame(hostA, hostB, 80, 81)), 1));

    EXPECT_EQ(transmitted(tcpPort(80)), (Counts{4, 4 * tcpSize + 4 + 8 + 8 + 12}));
    EXPECT_EQ(tree().ipConnections.size(), 1U);
    EXPECT_EQ(tcpReceived(hostB, 81).frames, 4U);
}

// Ports.

TEST_F(FrameAnalysis, PortsCountByDirection)
{
    enable({5, 8});
    count(tcpFrame(hostA, hostB, 80, 443));
    count(udpFrame(hostB, hostA, 53, 123));

    Counts const tcp{1, tcpSize};
    Counts const udp{1, udpSize};
    EXPECT_EQ(transmitted(tcpPort(80)), tcp);
    EXPECT_EQ(received(tcpPort(80)), nothing);
    EXPECT_EQ(transmitted(tcpPort(443)), nothing);
    EXPECT_EQ(received(tcpPort(443)), tcp);
    EXPECT_EQ(transmitted(udpPort(53)), udp);
    EXPECT_EQ(received(udpPort(53)), nothing);
    EXPECT_EQ(transmitted(udpPort(123)), nothing);
    EXPECT_EQ(received(udpPort(123)), udp);
    EXPECT_EQ(tree().ipPorts.tcpPorts.size(), 2U);
    EXPECT_EQ(tree().ipPorts.udpPorts.size(), 2U);

    CStationStat const & a = stationAt(hostA);
    CStationStat const & b = stationAt(hostB);
    EXPECT_EQ(transmitted(&a), tcp);
    EXPECT_EQ(received(&a), udp);
    EXPECT_EQ(transmitted(&b), udp);
    EXPECT_EQ(received(&b), tcp);
    EXPECT_EQ(a.tcpPorts.size(), 1U);
    EXPECT_EQ(transmitted(a.tcpPorts.find(id(80))), tcp);
    EXPECT_EQ(received(a.tcpPorts.find(id(80))), nothing);
    EXPECT_EQ(a.udpPorts.size(), 1U);
    EXPECT_EQ(received(a.udpPorts.find(id(123))), udp);
    EXPECT_EQ(transmitted(a.udpPorts.find(id(123))), nothing);
    EXPECT_EQ(b.tcpPorts.size(), 1U);
    EXPECT_EQ(received(b.tcpPorts.find(id(443))), tcp);
    EXPECT_EQ(b.udpPorts.size(), 1U);
    EXPECT_EQ(transmitted(b.udpPorts.find(id(53))), udp);
}

TEST_F(FrameAnalysis, PortOutsideTheRangeMakesNoRow)
{
    enable({5, 8});
    count(tcpFrame(hostA, hostB, 80, 3000));

    EXPECT_EQ(tree().ipPorts.tcpPorts.size(), 1U);
    EXPECT_EQ(transmitted(tcpPort(80)), (Counts{1, tcpSize}));
    EXPECT_EQ(received(tcpPort(80)), nothing);
    EXPECT_EQ(stationAt(hostA).tcpPorts.size(), 1U);
    EXPECT_EQ(stationAt(hostB).tcpPorts.size(), 0U);
}

TEST_F(FrameAnalysis, SamePortOnBothEndsCountsBothWaysInOneRow)
{
    enable({5, 8});
    count(tcpFrame(hostA, hostB, 80, 80));

    EXPECT_EQ(tree().ipPorts.tcpPorts.size(), 1U);
    EXPECT_EQ(transmitted(tcpPort(80)), (Counts{1, tcpSize}));
    EXPECT_EQ(received(tcpPort(80)), (Counts{1, tcpSize}));
    EXPECT_EQ(tcpReceived(hostA, 80), nothing);
    EXPECT_EQ(tcpTransmitted(hostB, 80), nothing);
}

TEST_F(FrameAnalysis, RangesIncludeTheirEdges)
{
    enable({5, 8});
    int const lowest = std::numeric_limits<int>::min();
    int const highest = std::numeric_limits<int>::max();
    struct
    {
        int low;
        int high;
        unsigned int port;
        bool inside;
    } const cases[] = {
        {1, 1024, 0, false},
        {1, 1024, 1, true},
        {1, 1024, 1024, true},
        {1, 1024, 1025, false},
        {0, 0, 0, true},
        {0, 0, 1, false},
        {65535, 65535, 65535, true},
        {65535, 65535, 65534, false},
        {2000, 1000, 1500, false},
        {2000, 1000, 2000, false},
        {2000, 1000, 1000, false},
        {lowest, highest, 0, true},
        {lowest, highest, 40000, true},
        {-5, -1, 0, false},
        {-5, 0, 0, true},
        {0x8000, 0xFFFF, 0x8000, true},
        {70000, 80000, 65535, false},
        {256, 256, 256, true},
        {256, 256, 1, false},
    };
    for (auto const & [low, high, port, inside] : cases) {
        SCOPED_TRACE(testing::Message() << "port " << port << " in " << low << " to " << high);
        unsigned int const rows = inside ? 1 : 0;

        manager.reset();
        manager.setTCPPortRange(low, high);
        manager.setUDPPortRange(2, 1);
        count(tcpFrame(hostA, hostB, port, port));
        count(udpFrame(hostA, hostB, port, port));
        EXPECT_EQ(tree().ipPorts.tcpPorts.size(), rows);
        EXPECT_EQ(tree().ipPorts.udpPorts.size(), 0U);
        EXPECT_EQ(stationAt(hostA).tcpPorts.size(), rows);
        EXPECT_EQ(stationAt(hostB).tcpPorts.size(), rows);
        EXPECT_EQ(received(tcpPort(port)).frames, rows);

        manager.reset();
        manager.setTCPPortRange(2, 1);
        manager.setUDPPortRange(low, high);
        count(tcpFrame(hostA, hostB, port, port));
        count(udpFrame(hostA, hostB, port, port));
        EXPECT_EQ(tree().ipPorts.tcpPorts.size(), 0U);
        EXPECT_EQ(tree().ipPorts.udpPorts.size(), rows);
        EXPECT_EQ(stationAt(hostA).udpPorts.size(), rows);
        EXPECT_EQ(stationAt(hostB).udpPorts.size(), rows);
        EXPECT_EQ(transmitted(udpPort(port)).frames, rows);
    }
}

TEST_F(FrameAnalysis, NewRangeLeavesTheRowsAlone)
{
    enable({5, 8});
    count(tcpFrame(hostA, hostB, 80, 81));
    manager.setTCPPortRange(3000, 4000);
    count(tcpFrame(hostA, hostB, 80, 3000));

    EXPECT_EQ(transmitted(tcpPort(80)), (Counts{1, tcpSize}));
    EXPECT_EQ(received(tcpPort(3000)), (Counts{1, tcpSize}));
    EXPECT_EQ(tcpTransmitted(hostA, 80), (Counts{1, tcpSize}));

    manager.endAnalyzing();
    manager.beginAnalyzing(nullptr);
    count(tcpFrame(hostA, hostB, 80, 3000));
    EXPECT_EQ(tcpPort(80), nullptr) << "a range outlives an analysis";
}

TEST_F(FrameAnalysis, PortsOfAStationNeedTheIPGroupToo)
{
    enable({5});
    count(tcpFrame(hostA, hostB, 80, 81));
    EXPECT_EQ(stationAt(hostA).tcpPorts.size(), 0U);
    EXPECT_EQ(stationAt(hostB).tcpPorts.size(), 0U);

    enable({8});
    count(udpFrame(hostA, hostB, 53, 54));
    EXPECT_EQ(stationAt(hostA).udpPorts.size(), 1U);
    EXPECT_EQ(stationAt(hostB).udpPorts.size(), 1U);

    // A frame that isn't IP follows one that was: nothing of that one's is left.
    count(test::ethernet(test::macB, test::macA, 0x88B5));
    EXPECT_EQ(transmitted(stationAt(hostA).udpPorts.find(id(53))).frames, 1U);
    EXPECT_EQ(received(stationAt(hostB).udpPorts.find(id(54))).frames, 1U);
}

// Ranges that change within a frame. What a host has called from within the pass is the handler of a
// deletion.

TEST_F(FrameAnalysis, RangeChangedBetweenTheTwoPortsSplitsTheFrame)
{
    enable({5, 8});
    manager.setTCPPortRange(1, 2000);
    for (unsigned int i = 0; i < 999; ++i)
        count(tcpFrame(hostA, hostB, 1000 + i, 50000));
    ASSERT_EQ(tree().ipPorts.tcpPorts.size(), 999U);
    handlersManager = &manager;
    tree().ipPorts.tcpPorts.registerDeleteHandler(
        [](CTcpPortStat::Container *, unsigned int) { handlersManager->setTCPPortRange(500, 600); });

    count(tcpFrame(hostC, hostB, 80, 81)); // its source port evicts a row

    EXPECT_EQ(transmitted(tcpPort(80)), (Counts{1, tcpSize}));
    EXPECT_EQ(tcpPort(81), nullptr);
    EXPECT_EQ(stationAt(hostC).tcpPorts.size(), 0U);

    manager.setTCPPortRange(1, 1);
    count(tcpFrame(hostC, hostB, 1, 550)); // evicts again, and widens the range for what follows
    EXPECT_EQ(received(tcpPort(550)), (Counts{1, tcpSize}));
    EXPECT_EQ(tcpTransmitted(hostC, 1), nothing);
    EXPECT_EQ(tcpReceived(hostB, 550), (Counts{1, tcpSize}));
}

TEST_F(FrameAnalysis, RangeChangedBetweenTheTablesSplitsTheFrame)
{
    enable({5, 8});
    for (unsigned int i = 0; i < 199; ++i)
        count(test::ethernet(test::broadcastMac, host(i).mac.c_str(), 0x88B5));
    handlersManager = &manager;
    tree().stations.registerDeleteHandler(
        [](CStationStat::Container *, unsigned int) { handlersManager->setUDPPortRange(54, 54); });

    count(udpFrame(hostA, hostB, 53, 54));

    EXPECT_EQ(transmitted(udpPort(53)).frames, 1U);
    EXPECT_EQ(received(udpPort(54)).frames, 1U);
    EXPECT_EQ(stationAt(hostA).udpPorts.size(), 0U);
    EXPECT_EQ(received(stationAt(hostB).udpPorts.find(id(54))).frames, 1U);
}

// Who is evicted. Each use of a table is asked for a row by its number.

// Fills a table with `rows` rows, uses the first one again, and brings a new one. Yields the number of the
// row that is gone: 1 if use renews, and 0 if the order is that of creation.
template <class Table, class KeyOf, class Use>
unsigned int evicted(Table const & table, unsigned int rows, KeyOf keyOf, Use use)
{
    for (unsigned int i = 0; i < rows; ++i)
        use(i);
    for (unsigned int i = 0; i < rows; ++i)
        EXPECT_NE(table.find(keyOf(i)), nullptr) << i;
    unsigned int const size = table.size();
    EXPECT_TRUE(table.isFull());
    use(0);
    unsigned int const oldestId = table.getOldestId();

    use(rows);

    EXPECT_EQ(table.size(), size);
    unsigned int gone = ~0U;
    for (unsigned int i = 0; i < rows; ++i)
        if (!table.find(keyOf(i))) {
            EXPECT_EQ(gone, ~0U) << "only one row goes";
            gone = i;
        }
    if (auto const * const row = table.find(keyOf(rows))) {
        EXPECT_EQ(row->getId(), oldestId) << "the new row takes the id";
        EXPECT_EQ(row->getId(), table.getNewestId());
    } else {
        ADD_FAILURE() << "the new row isn't there";
    }
    return gone;
}

unsigned int const renewed = 1;
unsigned int const inOrderOfCreation = 0;

TEST_F(FrameAnalysis, StationsAreRenewedAsSources)
{
    enable({5});
    EXPECT_EQ(evicted(
                  tree().stations, 199, [](unsigned int i) { return mac(host(i).mac); },
                  [&](unsigned int i) { count(test::arpRequest(host(i), hostA)); }),
              renewed);
}

TEST_F(FrameAnalysis, StationsAreRenewedAsDestinations)
{
    enable({5});
    for (unsigned int i = 0; i < 198; ++i)
        count(tcpFrame(hostA, host(i), 1, 2));
    ASSERT_EQ(tree().stations.size(), 199U);
    EXPECT_EQ(stationAt(hostA).getId(), 1);

    count(tcpFrame(hostA, host(0), 1, 2));
    count(tcpFrame(hostA, host(198), 1, 2));

    EXPECT_EQ(station(host(1)), nullptr);
    EXPECT_NE(station(host(0)), nullptr);
    ASSERT_NE(station(host(198)), nullptr);
    EXPECT_EQ(stationAt(host(198)).getId(), 3);
}

TEST_F(FrameAnalysis, StationsEndWithTheDestination)
{
    enable({5});
    count(tcpFrame(hostA, hostB, 1, 2));
    EXPECT_THAT(order(tree().stations), ElementsAre(1, 2)) << "the source comes first";
    count(tcpFrame(hostB, hostA, 1, 2));
    EXPECT_THAT(order(tree().stations), ElementsAre(2, 1));
    count(tcpFrame(hostB, hostB, 1, 2));
    EXPECT_THAT(order(tree().stations), ElementsAre(1, 2));
    EXPECT_EQ(transmitted(station(hostB)).frames, 2U);
    EXPECT_EQ(received(station(hostB)).frames, 2U) << "a station that writes to itself counts both ways";
}

TEST_F(FrameAnalysis, ProtocolsAreRenewed)
{
    enable({6});
    EXPECT_EQ(evicted(
                  tree().protocols, 199, [](unsigned int i) { return id(0x1000 + i); },
                  [&](unsigned int i) { count(test::ethernet(test::macB, test::macA, 0x1000 + i)); }),
              renewed);
}

TEST_F(FrameAnalysis, MACConnectionsAreRenewed)
{
    enable({7});
    EXPECT_EQ(evicted(
                  tree().macConnections, 199, [](unsigned int i) { return macPair(hostA, host(i)); },
                  [&](unsigned int i) { count(tcpFrame(hostA, host(i), 1, 2)); }),
              renewed);
}

TEST_F(FrameAnalysis, IPConnectionsAreRenewed)
{
    enable({8});
    EXPECT_EQ(evicted(
                  tree().ipConnections, 999, [](unsigned int i) { return ipPair(hostA, host(i)); },
                  [&](unsigned int i) { count(test::ipFrame(hostA, host(i), 1)); }),
              renewed);
}

TEST_F(FrameAnalysis, SubprotocolsKeepTheOrderOfCreation)
{
    enable({8});
    EXPECT_EQ(evicted(
                  tree().ipSubprotocols, 199, [](unsigned int i) { return id(20 + i); },
                  [&](unsigned int i) { count(test::ipFrame(hostA, hostB, 20 + i)); }),
              inOrderOfCreation);
}

TEST_F(FrameAnalysis, GlobalPortsKeepTheOrderOfCreation)
{
    enable({8});
    manager.setTCPPortRange(1, 50000);
    manager.setUDPPortRange(1, 50000);
    auto const portOf = [](unsigned int i) { return id(1000 + i); };
    EXPECT_EQ(evicted(tree().ipPorts.tcpPorts, 999, portOf,
                      [&](unsigned int i) { count(tcpFrame(hostA, hostB, 1000 + i, 60000)); }),
              inOrderOfCreation);
    EXPECT_EQ(evicted(tree().ipPorts.udpPorts, 999, portOf,
                      [&](unsigned int i) { count(udpFrame(hostA, hostB, 60000, 1000 + i)); }),
              inOrderOfCreation);
}

TEST_F(FrameAnalysis, PortsOfAStationKeepTheOrderOfCreation)
{
    enable({5, 8});
    manager.setTCPPortRange(1, 50000);
    manager.setUDPPortRange(1, 50000);
    count(tcpFrame(hostA, hostB, 60000, 60000));
    auto const portOf = [](unsigned int i) { return id(1000 + i); };
    EXPECT_EQ(evicted(stationAt(hostA).tcpPorts, 199, portOf,
                      [&](unsigned int i) { count(tcpFrame(hostA, hostB, 1000 + i, 60000)); }),
              inOrderOfCreation);
    EXPECT_EQ(evicted(stationAt(hostB).udpPorts, 199, portOf,
                      [&](unsigned int i) { count(udpFrame(hostA, hostB, 60000, 1000 + i)); }),
              inOrderOfCreation);
    EXPECT_EQ(tree().ipPorts.tcpPorts.size(), 200U) << "the global tables have more room";
}

// Full tables.

TEST_F(FrameAnalysis, FloodOfStationsKeepsTheLast199)
{
    enable({5});
    for (unsigned int i = 0; i < 1000; ++i)
        count(test::arpRequest(host(i), hostA));

    EXPECT_EQ(tree().stations.size(), 199U);
    for (unsigned int i = 0; i < 1000; ++i)
        ASSERT_EQ(station(host(i)) != nullptr, i >= 801) << i;
    EXPECT_EQ(stationAt(host(801)).getId(), 801 % 199 + 1) << "ids are used again in turn";
    EXPECT_EQ(tree().stations.getOldestId(), 801U % 199 + 1);
    EXPECT_EQ(tree().stations.getNewestId(), 999U % 199 + 1);
}

TEST_F(FrameAnalysis, PairsOfNewStationsEvictBoth)
{
    enable({5});
    for (unsigned int i = 0; i < 199; ++i)
        count(test::arpRequest(host(i), hostA));

    count(tcpFrame(host(500), host(501), 1, 2));

    EXPECT_EQ(tree().stations.size(), 199U);
    EXPECT_EQ(station(host(0)), nullptr);
    EXPECT_EQ(station(host(1)), nullptr);
    EXPECT_EQ(stationAt(host(500)).getId(), 1);
    EXPECT_EQ(stationAt(host(501)).getId(), 2);
    EXPECT_EQ(transmitted(station(host(500))), (Counts{1, tcpSize}));
    EXPECT_EQ(received(station(host(501))), (Counts{1, tcpSize}));
}

TEST_F(FrameAnalysis, FloodOfIPPairsKeepsTheLast999)
{
    enable({8});
    for (unsigned int i = 0; i < 3000; ++i)
        count(test::ipFrame(host(i), hostA, 1));

    EXPECT_EQ(tree().ipConnections.size(), 999U);
    for (unsigned int i = 0; i < 3000; ++i)
        ASSERT_EQ(tree().ipConnections.find(ipPair(host(i), hostA)) != nullptr, i >= 2001) << i;
    EXPECT_EQ(tree().ipConnections.getNewestId(), 2999U % 999 + 1);
    EXPECT_EQ(tree().ipSubprotocols.size(), 1U);
}

TEST_F(FrameAnalysis, FloodOfPortsKeepsTheLastOnes)
{
    enable({5, 8});
    manager.setTCPPortRange(0, 65535);
    for (unsigned int i = 0; i < 2500; ++i)
        count(tcpFrame(hostA, hostB, i, 10000 + i));

    CTcpPortStat::Container const & global = tree().ipPorts.tcpPorts;
    EXPECT_EQ(global.size(), 999U);
    EXPECT_EQ(tcpPort(2000), nullptr);
    EXPECT_NE(tcpPort(2001), nullptr) << "499 frames left both of their ports, and one its destination's";
    EXPECT_NE(tcpPort(12000), nullptr);
    EXPECT_EQ(tcpPort(11999), nullptr);
    CTcpPortStat::Container const & ofSource = stationAt(hostA).tcpPorts;
    EXPECT_EQ(ofSource.size(), 199U);
    EXPECT_EQ(ofSource.find(id(2300)), nullptr);
    EXPECT_NE(ofSource.find(id(2301)), nullptr);
    EXPECT_NE(stationAt(hostB).tcpPorts.find(id(12301)), nullptr);
    EXPECT_EQ(stationAt(hostB).tcpPorts.find(id(12300)), nullptr);
}

TEST_F(FrameAnalysis, EvictedRowTakesItsCountsAlong)
{
    enableAll();
    manager.setTCPPortRange(1, 65535);
    for (unsigned int i = 0; i < 5; ++i)
        count(tcpFrame(host(0), host(1), 80, 81));
    for (unsigned int i = 2; i < 201; ++i)
        count(test::arpRequest(host(i), hostA));
    ASSERT_EQ(station(host(0)), nullptr);

    count(udpFrame(host(0), host(1), 53, 54));

    EXPECT_EQ(transmitted(station(host(0))), (Counts{1, udpSize}));
    EXPECT_EQ(received(station(host(1))), (Counts{1, udpSize}));
    EXPECT_EQ(stationAt(host(0)).tcpPorts.size(), 0U) << "with its tables of ports";
    EXPECT_EQ(stationAt(host(0)).udpPorts.size(), 1U);
    EXPECT_EQ(stationAt(host(1)).tcpPorts.size(), 0U);
}

// What an evicted row held is not handed on to the one that takes its id.
TEST_F(FrameAnalysis, RowInAnothersPlaceStartsEmpty)
{
    enableAll();
    count(test::tagged(tcpFrame(host(0), host(1), 80, 81), 42));
    for (unsigned int i = 2; i < 199; ++i)
        count(test::arpRequest(host(i), hostA));
    ASSERT_EQ(stationAt(host(0)).vlanId.get(), "42");

    count(test::arpRequest(hostC, hostA));

    EXPECT_EQ(stationAt(hostC).getId(), 1);
    EXPECT_EQ(stationAt(hostC).vlanId.get(), "");
    EXPECT_EQ(stationAt(hostC).tcpPorts.size(), 0U);
    EXPECT_EQ(transmitted(station(hostC)).frames, 1U);
    EXPECT_EQ(received(station(hostC)), nothing);
    EXPECT_TRUE(stationAt(hostC).isChanged());
}

// Stations that come and go with their ports, against a plain account of the same.
TEST_F(FrameAnalysis, PortsBelongToTheirStation)
{
    using Ports = std::map<unsigned int, Counts>;
    struct Account
    {
        unsigned int host;
        Counts transmitted;
        Ports ports;
    };

    enable({5, 8});
    manager.setTCPPortRange(1, 1000);
    for (unsigned int const seed : {1U, 2U, 3U}) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        manager.reset();
        std::mt19937 random(seed);
        std::list<Account> accounts; // oldest first
        for (int step = 0; step < 4000; ++step) {
            auto const sender = static_cast<unsigned int>(random() % 300);
            auto const port = static_cast<unsigned int>(random() % 60 + 1);
            bool const broadcast = random() % 8 == 0;
            count(tcpFrame(host(sender), broadcast ? everybody : host(sender), port, 5000));

            auto row = std::find_if(accounts.begin(), accounts.end(),
                                    [&](Account const & account) { return account.host == sender; });
            if (row == accounts.end()) {
                if (accounts.size() == 199)
                    accounts.pop_front();
                row = accounts.insert(accounts.end(), {sender, {}, {}});
            }
            accounts.splice(accounts.end(), accounts, row);
            row->transmitted.frames += 1;
            row->transmitted.data += tcpSize;
            if (!broadcast) {
                row->ports[port].frames += 1;
                row->ports[port].data += tcpSize;
            }

            if (step % 100 != 0)
                continue;
            auto account = accounts.begin();
            for (unsigned int const rowId : order(tree().stations)) {
                ASSERT_NE(account, accounts.end()) << step;
                CStationStat const & found = *tree().stations.getChildById(rowId);
                ASSERT_EQ(found.address.get(), mac(host(account->host).mac)) << step;
                ASSERT_EQ(transmitted(&found), account->transmitted) << step;
                ASSERT_EQ(found.tcpPorts.size(), account->ports.size()) << step;
                ASSERT_EQ(found.udpPorts.size(), 0U) << step;
                for (auto const & [number, counts] : account->ports)
                    ASSERT_EQ(transmitted(found.tcpPorts.find(id(number))), counts) << step;
                ++account;
            }
            ASSERT_EQ(account, accounts.end()) << step;
        }
    }
}

// A table whose storage offers no row. Nothing in the library makes one so; rows are still not taken for
// granted.
struct NoRoom : CBaseHashedContainerStat
{
    static void in(CBaseHashedContainerStat & table)
    {
        table.*(&NoRoom::limit) = 1;
        table.*(&NoRoom::freeIdx) = 1;
    }
};

TEST_F(FrameAnalysis, TableWithoutRoomCostsThatRowOnly)
{
    enableAll();
    auto const frames = [&] {
        count(tcpFrame(hostA, hostB, 80, 81));
        count(test::arpReply(hostA, hostB));
    };
    auto const sizes = [&] {
        return std::vector<unsigned int>{tree().stations.size(),        tree().protocols.size(),
                                         tree().macConnections.size(),  tree().ipConnections.size(),
                                         tree().ipSubprotocols.size(),  tree().arpTable.size(),
                                         tree().ipPorts.tcpPorts.size()};
    };
    NoRoom::in(tree().protocols);
    frames();
    EXPECT_THAT(sizes(), ElementsAre(2, 0, 1, 1, 1, 2, 2));

    NoRoom::in(tree().ipConnections);
    manager.reset();
    frames();
    EXPECT_THAT(sizes(), ElementsAre(2, 0, 1, 0, 1, 2, 2));

    NoRoom::in(tree().ipSubprotocols);
    manager.reset();
    frames();
    EXPECT_THAT(sizes(), ElementsAre(2, 0, 1, 0, 0, 2, 2));

    manager.reset();
    NoRoom::in(tree().stations);
    frames();
    EXPECT_THAT(sizes(), ElementsAre(0, 0, 1, 0, 0, 2, 2));

    manager.reset();
    NoRoom::in(tree().macConnections);
    frames();
    EXPECT_THAT(sizes(), ElementsAre(0, 0, 0, 0, 0, 2, 2));

    manager.reset();
    NoRoom::in(tree().arpTable);
    frames();
    EXPECT_THAT(sizes(), ElementsAre(0, 0, 0, 0, 0, 0, 2));
    EXPECT_EQ(tree().globalStatistics.transmittedFrames.get(), 2U);
}

// Handlers of deletions, in the order in which they were called; they take no context.
struct Deletion
{
    CBaseStat const * table;
    unsigned int index;

    friend bool operator==(Deletion const &, Deletion const &) = default;
    friend std::ostream & operator<<(std::ostream & out, Deletion const & deletion)
    {
        return out << deletion.table->getOid().toString() << " at " << deletion.index;
    }
};
std::vector<Deletion> deletions;

template <class Table>
void noteDeletions(Table & table)
{
    table.registerDeleteHandler([](Table * of, unsigned int index) {
        EXPECT_NE(of->getChildById(index + 1), nullptr) << "the row is still there";
        deletions.push_back({of, index});
    });
}

TEST_F(FrameAnalysis, HandlerOfDeletionsGetsTheTableAndTheIndex)
{
    enable({5});
    deletions.clear();
    noteDeletions(tree().stations);
    for (unsigned int i = 0; i < 199; ++i)
        count(test::arpRequest(host(i), hostA));
    EXPECT_TRUE(deletions.empty());
    count(test::arpRequest(host(0), hostA));

    count(test::arpRequest(host(199), hostA));
    count(test::arpRequest(host(200), hostA));

    EXPECT_THAT(deletions, ElementsAre(Deletion{&tree().stations, 1}, Deletion{&tree().stations, 2}));

    deletions.clear();
    manager.reset();
    EXPECT_TRUE(deletions.empty()) << "clearing isn't told";
    for (unsigned int i = 0; i < 200; ++i)
        count(test::arpRequest(host(i), hostA));
    EXPECT_THAT(deletions, ElementsAre(Deletion{&tree().stations, 0})) << "and the handler stays";
}

TEST_F(FrameAnalysis, HandlerOfDeletionsIsCalledByTheARPTableToo)
{
    deletions.clear();
    noteDeletions(tree().arpTable);
    for (unsigned int i = 0; i < 200; ++i)
        count(test::arpRequest(host(i), hostA));
    EXPECT_THAT(deletions, ElementsAre(Deletion{&tree().arpTable, 0}));
}

// A frame that is new to every table, when all of them are full: it evicts in the order of the steps.
TEST_F(FrameAnalysis, StepsRunInTheirOrder)
{
    enable({8});
    manager.setTCPPortRange(1, 50000);
    for (unsigned int i = 0; i < 999; ++i)
        count(tcpFrame(hostA, hostB, 1000 + i, 60000));
    for (unsigned int i = 0; i < 199; ++i)
        count(test::ipFrame(hostA, hostB, 20 + i)); // TCP was the first, and goes
    for (unsigned int i = 0; i < 999; ++i)
        count(test::ipFrame(hostA, host(i), 20));
    enable({5, 6, 7});
    for (unsigned int i = 0; i < 199; ++i)
        count(test::ethernet(host(i).mac.c_str(), host(i).mac.c_str(), 0x1000 + i));

    deletions.clear();
    CAgentStatistic & root = tree();
    noteDeletions(root.stations);
    noteDeletions(root.protocols);
    noteDeletions(root.macConnections);
    noteDeletions(root.ipConnections);
    noteDeletions(root.ipSubprotocols);
    noteDeletions(root.ipPorts.tcpPorts);
    noteDeletions(root.arpTable);
    count(tcpFrame(hostA, hostC, 80, 81));

    std::vector<CBaseStat const *> tables;
    for (Deletion const & deletion : deletions)
        tables.push_back(deletion.table);
    EXPECT_THAT(tables,
                ElementsAreArray(std::vector<CBaseStat const *>{
                    &root.protocols, &root.ipConnections, &root.ipSubprotocols, &root.ipPorts.tcpPorts,
                    &root.ipPorts.tcpPorts, &root.stations, &root.stations, &root.macConnections}));
}

// The VLAN of a station.

TEST_F(FrameAnalysis, TagNamesTheVlanOfTheSource)
{
    enable({5});
    count(test::tagged(tcpFrame(hostA, hostB, 80, 81), 42));

    EXPECT_EQ(stationAt(hostA).vlanId.get(), "42");
    EXPECT_EQ(stationAt(hostB).vlanId.get(), "");

    count(test::tagged(tcpFrame(hostB, hostA, 80, 81), 7));
    EXPECT_EQ(stationAt(hostA).vlanId.get(), "42") << "as a destination it keeps its text";
    EXPECT_EQ(stationAt(hostB).vlanId.get(), "7");
}

TEST_F(FrameAnalysis, VlanTextIsTheSecondByteOfTheTag)
{
    enable({5});
    for (auto const & [tag, text] : {std::pair(0x0001U, "1"),
                                     {0x002AU, "42"},
                                     {0x00FFU, "255"},
                                     {0x0100U, "0"},
                                     {0x0FFFU, "255"},
                                     {0xE064U, "100"},
                                     {0x0000U, "0"}}) {
        count(test::tagged(tcpFrame(hostA, hostB, 80, 81), tag));
        EXPECT_EQ(stationAt(hostA).vlanId.get(), text) << tag;
    }
    count(test::tagged(test::tagged(tcpFrame(hostA, hostB, 80, 81), 11), 22, 0x88A8));
    EXPECT_EQ(stationAt(hostA).vlanId.get(), "22") << "the first of two tags";
    count(test::tagged(test::snap(tcpFrame(hostA, hostB, 80, 81)), 33));
    EXPECT_EQ(stationAt(hostA).vlanId.get(), "33") << "an 802.3 frame";
    count(test::tagged(test::arpRequest(hostA, hostB), 44, 0x9100));
    EXPECT_EQ(stationAt(hostA).vlanId.get(), "44") << "a broadcast";
}

TEST_F(FrameAnalysis, VlanTextStaysWithoutATagAndItsFlagIsLeftAlone)
{
    enable({5});
    count(test::tagged(tcpFrame(hostA, hostB, 80, 81), 42));
    count(tcpFrame(hostA, hostB, 80, 81));
    EXPECT_EQ(stationAt(hostA).vlanId.get(), "42");

    tree().resetChanged();
    count(test::tagged(tcpFrame(hostA, hostB, 80, 81), 43));
    EXPECT_EQ(stationAt(hostA).vlanId.get(), "43");
    EXPECT_FALSE(stationAt(hostA).vlanId.isChanged());

    tree().setChanged();
    count(test::tagged(tcpFrame(hostA, hostB, 80, 81), 44));
    EXPECT_TRUE(stationAt(hostA).vlanId.isChanged());
}

TEST_F(FrameAnalysis, WithoutStationsThereIsNoVlan)
{
    enable({6, 7, 8});
    count(test::tagged(tcpFrame(hostA, hostB, 80, 81), 42));
    enable({5});
    count(tcpFrame(hostA, hostB, 80, 81));
    EXPECT_EQ(stationAt(hostA).vlanId.get(), "");
}

// Media of no Ethernet.
class OtherMediaFrame : public Frame
{
public:
    explicit OtherMediaFrame(Bytes const & packet) : Frame(packet)
    {
        m_media.sourceMAC = CMACAddr(mac(hostA.mac).bytes.data());
        m_media.destinationMAC = CMACAddr(mac(hostB.mac).bytes.data());
        m_media.protocolId = id(0x0800);
        m_media.frameFormat = CEthernetInfo::ffTaggedEthernet2;
    }
    CMediaInfo * AnalyzeFrame() override { return &m_media; }

private:
    CMediaInfo m_media;
};

TEST_F(FrameAnalysis, MediaOfNoEthernetHasNoVlan)
{
    enableAll();
    Bytes const whole = tcpFrame(hostA, hostB, 80, 81);
    OtherMediaFrame frame(Bytes(whole.begin() + 14, whole.end()));

    count(frame);

    Counts const one{1, 40};
    EXPECT_EQ(transmitted(station(hostA)), one);
    EXPECT_EQ(received(station(hostB)), one);
    EXPECT_EQ(stationAt(hostA).vlanId.get(), "");
    EXPECT_EQ(tcpTransmitted(hostA, 80), one);
    EXPECT_EQ(transmitted(tree().ipConnections.find(ipPair(hostA, hostB))), one);
    EXPECT_EQ(transmitted(tree().macConnections.find(macPair(hostA, hostB))), one);
    EXPECT_EQ(transmitted(tree().protocols.find(id(0x0800))), one);
}

// Ethernet of a host's own, with more to tell than this library asks for.
struct OwnEthernetInfo : CEthernetInfo
{
    explicit OwnEthernetInfo(CEthernetInfo const & info) : CEthernetInfo(info) {}
};

class OwnEthernetFrame : public Frame
{
public:
    using Frame::Frame;
    CMediaInfo * AnalyzeFrame() override
    {
        m_own = std::make_unique<OwnEthernetInfo>(dynamic_cast<CEthernetInfo &>(*Frame::AnalyzeFrame()));
        return m_own.get();
    }

private:
    std::unique_ptr<OwnEthernetInfo> m_own;
};

TEST_F(FrameAnalysis, EthernetOfAHostsOwnHasAVlan)
{
    enable({5});
    OwnEthernetFrame frame(test::tagged(tcpFrame(hostA, hostB, 80, 81), 42));

    count(frame);

    EXPECT_EQ(stationAt(hostA).vlanId.get(), "42");
}

// A host's frame that changes the ranges when its bytes are asked for.
class MeddlingFrame : public Frame
{
public:
    MeddlingFrame(Bytes const & data, CKetrinStatManager & manager) : Frame(data), m_manager(manager) {}
    unsigned char const * GetData() const override
    {
        m_manager.setTCPPortRange(80, 80);
        return Frame::GetData();
    }

private:
    CKetrinStatManager & m_manager;
};

TEST_F(FrameAnalysis, RangeIsReadWhenAPortIsCountedAndNotBefore)
{
    enable({8});
    manager.setTCPPortRange(2, 1);
    MeddlingFrame frame(tcpFrame(hostA, hostB, 80, 81), manager);

    count(frame);

    EXPECT_EQ(transmitted(tcpPort(80)).frames, 1U);
    EXPECT_EQ(tree().ipPorts.tcpPorts.size(), 1U);
}

// Flags of change.

void collectChanged(CBaseStat & stat, std::set<std::string> & found)
{
    if (stat.isChanged())
        found.insert(stat.getOid().toString());
    for (unsigned int index = 0; index < stat.getChildrenCount(); ++index)
        collectChanged(*stat.getChild(index), found);
}

TEST_F(FrameAnalysis, CountingRaisesTheFlagOfTheCounterOnly)
{
    enableAll();
    Bytes const data = tcpFrame(hostA, hostB, 80, 443);
    count(data);
    tree().resetChanged();

    count(data);

    std::set<std::string> changed;
    collectChanged(tree(), changed);
    EXPECT_EQ(changed, (std::set<std::string>{
                           "1.1.2",      "1.1.3",                                      // global
                           "1.4.1.3.2",  "1.4.1.3.3",  "1.4.2.1.2",   "1.4.2.1.3",     // frame tables
                           "1.5.1.2",    "1.5.1.3",    "1.5.1.7.1.2", "1.5.1.7.1.3",   // source station
                           "1.5.2.4",    "1.5.2.5",    "1.5.2.7.1.4", "1.5.2.7.1.5",   // destination station
                           "1.6.1.2",    "1.6.1.3",                                    // protocols
                           "1.7.1.3",    "1.7.1.4",                                    // MAC traffic
                           "1.8.1.3",    "1.8.1.4",                                    // IP traffic
                           "1.10.1.2",   "1.10.1.3",                                   // sub-protocols
                           "1.11.1.1.2", "1.11.1.1.3", "1.11.1.2.4",  "1.11.1.2.5"})); // ports
}

TEST_F(FrameAnalysis, NewRowIsChangedAndItsTableIsNot)
{
    enableAll();
    tree().resetChanged();

    count(tcpFrame(hostA, hostB, 80, 443));

    EXPECT_TRUE(stationAt(hostA).isChanged());
    EXPECT_TRUE(stationAt(hostA).address.isChanged());
    EXPECT_TRUE(stationAt(hostA).vlanId.isChanged());
    EXPECT_FALSE(tree().stations.isChanged());
    EXPECT_FALSE(tree().ipConnections.isChanged());
    EXPECT_FALSE(tree().isChanged());
}

TEST_F(FrameAnalysis, AllocatesNothingForKnownRows)
{
    enableAll();
    std::vector<std::unique_ptr<Frame>> frames;
    for (Bytes const & data :
         {tcpFrame(hostA, hostB, 80, 443), tcpFrame(hostB, hostA, 443, 80), udpFrame(hostA, hostB, 53, 53),
          udpFrame(hostA, everybody, 67, 68), udpFrame(hostA, somebody, 53, 54),
          test::arpRequest(hostA, hostB), test::arpReply(hostB, hostA),
          test::tagged(tcpFrame(hostA, hostC, 22, 23), 0x0FFF),
          test::tagged(test::arpRequest(hostC, hostA), 200), test::snap(udpFrame(hostC, hostA, 1, 2)),
          test::tagged(test::snap(tcpFrame(hostC, hostB, 1, 2)), 5), test::ipFrame(hostA, hostB, 1),
          tcpFrame(hostA, hostB, 5000, 6000, 15), test::ethernet(test::macB, test::macA, 0x88B5), Bytes()})
        frames.push_back(std::make_unique<Frame>(data));
    for (auto const & frame : frames)
        count(*frame); // rows and statics are there now

    test::Allocations const allocations;
    for (int i = 0; i < 100; ++i)
        for (auto const & frame : frames)
            count(*frame);
    EXPECT_EQ(allocations.count(), 0);
    EXPECT_EQ(transmitted(tcpPort(80)).frames, 101U);
}

TEST_F(FrameAnalysis, ReplacingARowAllocatesNothingBesidesAStation)
{
    enable({6, 7, 8});
    manager.setTCPPortRange(0, 65535);
    std::vector<std::unique_ptr<Frame>> frames;
    for (unsigned int i = 0; i < 3000; ++i)
        frames.push_back(std::make_unique<Frame>(tcpFrame(host(i), host(i + 1), i, 10000 + i)));
    for (unsigned int i = 0; i < 1500; ++i)
        count(*frames[i]);

    test::Allocations const allocations;
    for (unsigned int i = 1500; i < 3000; ++i)
        count(*frames[i]);
    EXPECT_EQ(allocations.count(), 0);
    EXPECT_EQ(tree().ipConnections.size(), 999U);
}

} // namespace
