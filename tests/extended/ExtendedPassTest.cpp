#include "ketstats/engine/StatManager.h"

#include "tests/support/IPv6Frames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

using namespace KetStats;
using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr unsigned int tcp = 6;
constexpr unsigned int udp = 17;
constexpr unsigned int icmp = 58;

class ExtendedPass : public testing::Test
{
protected:
    ExtendedPass()
    {
        for (int group = 1; group <= 7; ++group)
            EXPECT_TRUE(manager.enableStatistic("2." + std::to_string(group)));
        manager.beginAnalyzing(nullptr);
    }

    void count(Bytes const & bytes, unsigned int captured = ~0U)
    {
        Bytes const cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(
                                                           std::min<std::size_t>(captured, bytes.size())));
        Frame frame(cut, static_cast<unsigned int>(bytes.size()));
        manager.analyzeFrame(&frame);
    }

    // Frames of the rows by number: protocols, ports, VLANs.
    template <class Table>
    static std::map<long long, unsigned int> sent(Table const & table)
    {
        std::map<long long, unsigned int> result;
        for (auto const & row : table)
            result[static_cast<long long>(row.rowKey())] = row.framesTransmitted.get();
        return result;
    }
    template <class Table>
    static std::map<long long, unsigned int> received(Table const & table)
    {
        std::map<long long, unsigned int> result;
        for (auto const & row : table)
            if (row.framesReceived.get() != 0)
                result[static_cast<long long>(row.rowKey())] = row.framesReceived.get();
        return result;
    }

    CKetrinStatManager manager;
    CExtendedStatistic & tree = manager.getExtendedStatistic();
    CSignalsStat & signals = tree.signals;
};

TEST_F(ExtendedPass, CountsOrderedPairsOfAddresses)
{
    count(ipv6Frame(v6A, v6B, tcp, tcpHeader(5000, 80)));
    count(ipv6Frame(v6A, v6B, udp, udpHeader(5000, 53)));
    count(ipv6Frame(v6B, v6A, tcp, tcpHeader(80, 5000)));

    ASSERT_EQ(tree.ipv6Connections.size(), 2U);
    CIPv6ConnectionStat const * const there =
        tree.ipv6Connections.find({ipv6("2001:db8::a"), ipv6("2001:db8::b")});
    ASSERT_NE(there, nullptr);
    EXPECT_EQ(there->framesTransmitted.get(), 2U);
    EXPECT_EQ(there->dataTransmitted.get(), (14 + 40 + 20 + 4) + (14 + 40 + 8 + 4));
    EXPECT_EQ(there->source.get(), ipv6("2001:db8::a"));
    EXPECT_EQ(there->destination.get(), ipv6("2001:db8::b"));
    // The one that was used last is the newest.
    EXPECT_EQ(tree.ipv6Connections.getNewest()->source.get(), ipv6("2001:db8::b"));
    EXPECT_THAT(sent(tree.ipv6Protocols), ElementsAre(Pair(tcp, 2U), Pair(udp, 1U)));
    EXPECT_THAT(received(tree.ipv6Ports.tcpPorts), ElementsAre(Pair(80, 1U)));
    EXPECT_EQ(sent(tree.ipv6Ports.tcpPorts)[80], 1U);
    EXPECT_THAT(received(tree.ipv6Ports.udpPorts), ElementsAre(Pair(53, 1U)));
}

TEST_F(ExtendedPass, LeavesTheFirstTreeAsItIs)
{
    CKetrinStatManager other;
    other.beginAnalyzing(nullptr);
    for (Bytes const & bytes : {ipv6Frame(v6A, v6B, tcp, tcpHeader(5000, 80)), arpReply(hostA, hostB),
                                tagged(tcpFrame(hostA, hostB, 1, 2), 7)}) {
        count(bytes);
        Frame frame(bytes);
        other.analyzeFrame(&frame);
    }
    EXPECT_EQ(manager.getAgentStatistic().collate(other.getAgentStatistic()), 0);
    EXPECT_TRUE(other.getExtendedStatistic().isBlank());
}

TEST_F(ExtendedPass, OnlyUnicastFramesHaveAddressesProtocolsAndPorts)
{
    count(ipv6Frame(v6A, {multicastMac, "ff02::1"}, udp, udpHeader(5000, 53)));
    count(ipv6Frame(v6A, {broadcastMac, "ff02::1"}, udp, udpHeader(5000, 53)));
    EXPECT_EQ(tree.ipv6Connections.size(), 0U);
    EXPECT_EQ(tree.ipv6Protocols.size(), 0U);
    EXPECT_EQ(tree.ipv6Ports.udpPorts.size(), 0U);
}

TEST_F(ExtendedPass, WalksExtensionHeaders)
{
    Bytes const chain = extension(60, 16) + extension(43) + extension(135, 24) + extension(44) +
                        fragmentHeader(51, 0, true) +
                        [] {
                            Bytes authentication(24);
                            authentication[0] = tcp;
                            authentication[1] = 4; // words of four bytes, less two
                            return authentication;
                        }() +
                        tcpHeader(5000, 443);
    count(ipv6Frame(v6A, v6B, 0, chain));
    EXPECT_THAT(sent(tree.ipv6Protocols), ElementsAre(Pair(tcp, 1U)));
    EXPECT_THAT(received(tree.ipv6Ports.tcpPorts), ElementsAre(Pair(443, 1U)));
    EXPECT_EQ(signals.fragments.get(), 1U);
}

TEST_F(ExtendedPass, AHeaderThatIsCutCountsByItsOwnNumber)
{
    Bytes const frame = ipv6Frame(v6A, v6B, 0, extension(43, 16) + extension(udp) + udpHeader(5000, 53));
    std::map<long long, unsigned int> expected;
    for (unsigned int captured = 14; captured <= frame.size(); ++captured) {
        count(frame, captured);
        long long const number = captured < 14 + 40 + 16 ? 0 : captured < 14 + 40 + 24 ? 43 : udp;
        ++expected[number];
        ASSERT_EQ(sent(tree.ipv6Protocols), expected) << captured;
        ASSERT_EQ(tree.ipv6Ports.udpPorts.size(), captured < 14 + 40 + 24 + 4 ? 0U : 1U) << captured;
    }
}

TEST_F(ExtendedPass, LaterFragmentsHaveNoPorts)
{
    count(ipv6Frame(v6A, v6B, 44, fragmentHeader(udp, 0, true) + udpHeader(5000, 53)));
    count(ipv6Frame(v6A, v6B, 44, fragmentHeader(udp, 185, false) + udpHeader(5000, 53)));
    count(ipv6Frame(v6A, v6B, 44, fragmentHeader(udp, 0, false) + udpHeader(5000, 53)));
    EXPECT_THAT(sent(tree.ipv6Protocols), ElementsAre(Pair(udp, 3U)));
    EXPECT_THAT(received(tree.ipv6Ports.udpPorts), ElementsAre(Pair(53, 2U)));
    EXPECT_EQ(signals.fragments.get(), 2U) << "what is whole is no fragment";
}

TEST_F(ExtendedPass, TheWalkEndsAtSixteenHeaders)
{
    for (unsigned int headers : {16U, 17U}) {
        Bytes chain;
        for (unsigned int i = 1; i <= headers; ++i)
            chain = chain + extension(i == headers ? udp : 60);
        count(ipv6Frame(v6A, v6B, 60, chain + udpHeader(5000, 53)));
    }
    EXPECT_THAT(sent(tree.ipv6Protocols), ElementsAre(Pair(udp, 1U), Pair(60, 1U)));
    EXPECT_THAT(received(tree.ipv6Ports.udpPorts), ElementsAre(Pair(53, 1U)));
}

TEST_F(ExtendedPass, CountsOuterAndInnerTags)
{
    Bytes const plain = tcpFrame(hostA, hostB, 1, 2);
    count(plain);
    count(tagged(plain, 0xE000 | 100));
    count(tagged(tagged(plain, 100, 0x8100), 4095, 0x88A8));
    count(tagged(tagged(tagged(plain, 7), 8), 0x9000, 0x9100));
    Bytes broadcast = tagged(plain, 100);
    std::fill_n(broadcast.begin(), 6, static_cast<unsigned char>(0xFF));
    count(broadcast);

    EXPECT_THAT(sent(tree.vlans.outer), ElementsAre(Pair(0, 1U), Pair(100, 2U), Pair(4095, 1U)));
    EXPECT_THAT(sent(tree.vlans.inner), ElementsAre(Pair(8, 1U), Pair(100, 1U)));
    EXPECT_EQ(tree.vlans.outer.find(id(100))->dataTransmitted.get(),
              2 * static_cast<long long>(plain.size() + 4 + 4));
}

TEST_F(ExtendedPass, EveryVlanHasItsRow)
{
    Bytes const plain = tcpFrame(hostA, hostB, 1, 2);
    for (unsigned int round = 0; round < 2; ++round)
        for (unsigned int vlan = 0; vlan < 4096; ++vlan)
            count(tagged(plain, vlan));
    EXPECT_EQ(tree.vlans.outer.size(), 4096U);
    EXPECT_EQ(tree.vlans.outer.ledger(), CLedger());
}

// A message of a neighbour, as it must be.
struct Neighbour
{
    unsigned int type;
    Bytes rest; // behind the checksum
    std::string source = "fe80::1";
    unsigned int hopLimit = 255;
    unsigned int code = 0;
};

Bytes frameOf(Neighbour const & message)
{
    return ipv6Frame({macA, message.source}, {multicastMac, "ff02::1"}, icmp,
                     icmpv6(message.type, message.code, message.rest), message.hopLimit);
}

Bytes const solicitation = Bytes(4) + ipv6Bytes("fe80::2") + addressOption(1, macA);
Bytes const advertisement = Bytes(4) + ipv6Bytes("fe80::3") + addressOption(2, macB);
Bytes const router = Bytes(12) + bytes("05 01 00 00 00 00 05 dc") + addressOption(1, macC);

TEST_F(ExtendedPass, LearnsNeighbours)
{
    count(frameOf({135, solicitation}));
    count(frameOf({136, advertisement}));
    count(frameOf({134, router, "fe80::4"}));

    ASSERT_EQ(tree.neighbours.size(), 3U);
    EXPECT_EQ(tree.neighbours.find(ipv6("fe80::1"))->macAddress.get(), mac("02-00-00-00-00-0A"));
}

TEST_F(ExtendedPass, NonsenseTeachesNothing)
{
    Bytes const zeroOption = Bytes(4) + ipv6Bytes("fe80::2") + addressOption(1, macA) + Bytes(8);
    Bytes const tooLong = [] {
        Bytes rest = solicitation;
        rest[21] = 2;
        return rest;
    }();
    Bytes const twice = [] {
        Bytes rest = Bytes(4) + ipv6Bytes("fe80::2") + addressOption(1, macA) + Bytes(8);
        rest[21] = 2;
        return rest;
    }();
    Bytes const toMulticast = Bytes(4) + ipv6Bytes("ff02::2") + addressOption(1, macA);
    for (Neighbour const & message : std::initializer_list<Neighbour>{
             {135, solicitation, "fe80::1", 254},
             {135, solicitation, "fe80::1", 255, 1},
             {135, solicitation, "ff02::1"},
             {135, solicitation, "::"},
             {135, zeroOption},
             {135, tooLong},
             {135, twice},
             {135, toMulticast},
             {135, advertisement}, // with the option of the other
             {136, solicitation},
             {136, Bytes(4) + ipv6Bytes("::") + addressOption(2, macB)},
             {134, router, "2001:db8::1"},
             {133, solicitation},
             {135, Bytes(4)},
             {135, solicitation + Bytes(1)},
         })
        count(frameOf(message));
    EXPECT_EQ(tree.neighbours.size(), 0U);

    // In a fragment, and cut at every length.
    count(ipv6Frame({macA, "fe80::1"}, v6B, 44, fragmentHeader(icmp, 0, false) + icmpv6(135, 0, solicitation),
                    255));
    Bytes const whole = frameOf({135, solicitation});
    for (unsigned int captured = 0; captured < whole.size(); ++captured)
        count(whole, captured);
    EXPECT_EQ(tree.neighbours.size(), 0U);
    count(whole);
    EXPECT_EQ(tree.neighbours.size(), 1U);
}

TEST_F(ExtendedPass, TheFirstBindingStaysAndOthersAreNoticed)
{
    count(frameOf({136, advertisement}));
    count(frameOf({136, advertisement}));
    EXPECT_EQ(signals.changedBindings.get(), 0U);
    count(frameOf({136, Bytes(4) + ipv6Bytes("fe80::3") + addressOption(2, macC)}));
    EXPECT_EQ(signals.changedBindings.get(), 1U);
    EXPECT_EQ(tree.neighbours.find(ipv6("fe80::3"))->macAddress.get(), mac("02-00-00-00-00-0B"));
}

TEST_F(ExtendedPass, NoticesARP)
{
    count(arpRequest(hostA, hostB));
    count(arpReply(hostB, hostA));
    count(arpRequest(hostA, hostA)); // gratuitous
    EXPECT_EQ(signals.changedBindings.get(), 0U);
    count(arpFrame(2, hostC, {"FF-FF-FF-FF-FF-FF", hostC.ip}, broadcastMac)); // the same in a reply
    EXPECT_EQ(signals.changedBindings.get(), 0U);
    // Both ends of a reply are other stations now.
    count(arpReply({macC, hostA.ip}, {macC, hostB.ip}));

    EXPECT_EQ(signals.arpRequests.get(), 2U);
    EXPECT_EQ(signals.arpReplies.get(), 3U);
    EXPECT_EQ(signals.gratuitousArps.get(), 2U);
    EXPECT_EQ(signals.changedBindings.get(), 2U);
}

TEST_F(ExtendedPass, CountsWhatConnectionsSay)
{
    unsigned int const fin = 1, syn = 2, reset = 4, ack = 16;
    for (unsigned int flags : {syn, syn | ack, syn | ack, fin | ack, reset, reset | ack, ack}) {
        count(ipv6Frame(v6A, v6B, tcp, tcpHeader(5000, 80, flags, 0)));
        count(ipFrame(hostA, hostB, tcp, tcpHeader(5000, 80, flags, 0)));
    }
    EXPECT_EQ(signals.tcpRequested.get(), 2U);
    EXPECT_EQ(signals.tcpAccepted.get(), 4U);
    EXPECT_EQ(signals.tcpEnded.get(), 2U);
    EXPECT_EQ(signals.tcpReset.get(), 4U);
    EXPECT_EQ(signals.zeroWindows.get(), 2U);

    // A window that wasn't captured isn't zero.
    Bytes const frame = ipv6Frame(v6A, v6B, tcp, tcpHeader(5000, 80, ack, 0));
    count(frame, 14 + 40 + 15);
    EXPECT_EQ(signals.zeroWindows.get(), 2U);
    count(frame, 14 + 40 + 16);
    EXPECT_EQ(signals.zeroWindows.get(), 3U);
}

TEST_F(ExtendedPass, CountsErrorsByKind)
{
    for (unsigned int type = 0; type < 256; ++type) {
        count(ipv6Frame(v6A, v6B, icmp, icmpv6(type, 4, Bytes(4))));
        count(ipFrame(hostA, hostB, 1, icmpv6(type, 0, Bytes(4))));
        // Each of the two belongs to its own family.
        count(ipFrame(hostA, hostB, icmp, icmpv6(type, 0, Bytes(4))));
        count(ipv6Frame(v6A, v6B, 1, icmpv6(type, 0, Bytes(4))));
    }
    count(ipFrame(hostA, hostB, 1, icmpv6(3, 4, Bytes(4))));
    EXPECT_EQ(signals.unreachable.get(), 2U);
    EXPECT_EQ(signals.packetTooBig.get(), 2U);
    EXPECT_EQ(signals.timeExceeded.get(), 2U);
    EXPECT_EQ(signals.parameterProblem.get(), 2U);
    EXPECT_EQ(signals.redirects.get(), 2U);
    EXPECT_EQ(signals.sourceQuench.get(), 1U);
}

TEST_F(ExtendedPass, NoticesFragmentsAndOverlongPacketsOfIPv4)
{
    Bytes whole = ipFrame(hostA, hostB, tcp, tcpHeader(1, 2, 2)); // it says that it has 40 bytes
    count(whole);
    EXPECT_EQ(signals.overlongPackets.get(), 0U);
    EXPECT_EQ(signals.tcpRequested.get(), 1U);
    whole[14 + 3] = 41;
    count(whole);
    EXPECT_EQ(signals.overlongPackets.get(), 1U);
    whole[14 + 6] = 0x20; // more fragments
    count(whole);
    EXPECT_EQ(signals.fragments.get(), 1U);
    EXPECT_EQ(signals.tcpRequested.get(), 3U);
    whole[14 + 7] = 9; // and not the first
    count(whole);
    EXPECT_EQ(signals.fragments.get(), 2U);
    EXPECT_EQ(signals.tcpRequested.get(), 3U);

    Bytes six = ipv6Frame(v6A, v6B, 59);
    count(six);
    EXPECT_EQ(signals.overlongPackets.get(), 3U);
    six[14 + 5] = 1;
    count(six);
    EXPECT_EQ(signals.overlongPackets.get(), 4U);
}

TEST_F(ExtendedPass, CountsTunnelsByKind)
{
    auto const frames = [&] {
        std::vector<unsigned int> all;
        CTunnelsStat::forEachColumn([&](auto, auto row) { all.push_back((tree.tunnels.*row).frames.get()); });
        return all;
    };
    count(ipFrame(hostA, hostB, 4));
    count(ipv6Frame(v6A, v6B, 4));
    count(ipv6Frame(v6A, v6B, 41));
    EXPECT_THAT(frames(), ElementsAre(3, 0, 0, 0, 0, 0, 0));
    count(ipFrame(hostA, hostB, 41));
    count(ipFrame(hostA, hostB, 47));
    count(ipv6Frame(v6A, v6B, 0, extension(47)));
    count(udpFrame(hostA, hostB, 5000, 4789));
    count(udpFrame(hostA, hostB, 4789, 5000)); // the other way it is none
    count(ipv6Frame(v6A, v6B, udp, udpHeader(5000, 6081)));
    count(ethernet(broadcastMac, macA, 0x8863));
    count(ethernet(macB, macA, 0x8864));
    count(ethernet(macB, macA, 0x8847));
    count(snap(ethernet(macB, macA, 0x8848)));
    EXPECT_THAT(frames(), ElementsAre(3, 1, 2, 1, 1, 2, 2));
    EXPECT_EQ(tree.tunnels.vxlan.data.get(), 14 + 20 + 8 + 4);
    EXPECT_EQ(tree.tunnels.vxlan.name.get(), "VXLAN");
}

TEST_F(ExtendedPass, GroupsAreCountedOnlyWhileTheyAreOn)
{
    Bytes const frames[] = {tagged(ipv6Frame(v6A, v6B, tcp, tcpHeader(5000, 80, 2)), 5),
                            ipv6Frame(v6A, v6B, 47), frameOf({136, advertisement})};
    auto const groupsOf = [&] {
        std::string groups;
        groups += tree.ipv6Connections.size() ? '1' : '-';
        groups += tree.ipv6Protocols.size() ? '2' : '-';
        groups += tree.ipv6Ports.tcpPorts.size() ? '3' : '-';
        groups += tree.vlans.outer.size() ? '4' : '-';
        groups += tree.neighbours.size() ? '5' : '-';
        groups += signals.tcpRequested.get() ? '6' : '-';
        groups += tree.tunnels.gre.frames.get() ? '7' : '-';
        return groups;
    };
    for (unsigned int on = 0; on < 128; ++on) {
        manager.reset();
        std::string expected;
        for (unsigned int group = 1; group <= 7; ++group) {
            std::string const oid = "2." + std::to_string(group);
            bool const isOn = (on >> (group - 1) & 1) != 0;
            EXPECT_TRUE(isOn ? manager.enableStatistic(oid) : manager.disableStatistic(oid));
            EXPECT_EQ(manager.statisticEnabled(oid), isOn);
            expected += isOn ? static_cast<char>('0' + group) : '-';
        }
        for (Bytes const & frame : frames)
            count(frame);
        EXPECT_EQ(groupsOf(), expected);
    }
}

TEST(ExtendedGroups, AreOffAtFirstAndHaveTheIdsOneToSeven)
{
    CKetrinStatManager manager;
    for (char const * const oid : {"2.1", "2.7"})
        EXPECT_FALSE(manager.statisticEnabled(oid));
    for (char const * const oid : {"2", "2.0", "2.8", "2.1.1", "3.1"}) {
        EXPECT_FALSE(manager.enableStatistic(oid));
        EXPECT_FALSE(manager.disableStatistic(oid));
        EXPECT_FALSE(manager.statisticEnabled(oid));
    }
    manager.beginAnalyzing(nullptr);
    Frame frame(ipv6Frame(v6A, v6B, tcp, tcpHeader(5000, 80)));
    manager.analyzeFrame(&frame);
    EXPECT_TRUE(manager.getExtendedStatistic().isBlank());
}

// In blocks, where the frames are views.
TEST_F(ExtendedPass, ViewsCountAsObjectsDo)
{
    Bytes const frames[] = {ipv6Frame(v6A, v6B, tcp, tcpHeader(5000, 80)),
                            tagged(tagged(ipv6Frame(v6A, v6B, udp, udpHeader(1, 53)), 3), 4),
                            arpReply(hostA, hostB),
                            snap(ipv6Frame(v6A, v6B, 0, extension(tcp) + tcpHeader(9, 10))),
                            frameOf({136, advertisement}),
                            udpFrame(hostA, hostB, 1, 4789)};
    CKetrinStatManager viewed;
    for (int group = 1; group <= 7; ++group)
        viewed.enableStatistic("2." + std::to_string(group));
    viewed.beginAnalyzing(nullptr);
    for (Bytes const & frame : frames)
        for (unsigned int captured = 0; captured <= frame.size(); ++captured) {
            count(frame, captured);
            CFrameView const view{frame.data(), captured, static_cast<unsigned int>(frame.size())};
            viewed.analyzeFrames({&view, 1});
        }
    EXPECT_EQ(tree.collate(viewed.getExtendedStatistic()), 0);
    EXPECT_GT(tree.ipv6Connections.size(), 0U);
}

} // namespace
