#include "ketstats/engine/StatManager.h"
#include "ketstats/snapshot/StatSnapshot.h"

#include "tests/support/IPv6Traffic.h"
#include "tests/support/TreeHash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <span>
#include <sstream>
#include <string>

using namespace KetStats;
using ktools::CMemoryBuffer;
using test::TreeHash;

// What the second tree makes of much traffic, bit for bit, as it was recorded. With KETSTATS_WRITE_GOLDEN in the
// environment the record is written anew.

namespace {

using Counting = std::function<void(CKetrinStatManager &, test::Traffic const &)>;

std::string treeHash(CExtendedStatistic & tree)
{
    TreeHash hash;
    test::takeRows(hash, tree.ipv6Connections);
    test::takeRows(hash, tree.ipv6Protocols);
    test::takeRows(hash, tree.ipv6Ports.tcpPorts);
    test::takeRows(hash, tree.ipv6Ports.udpPorts);
    test::takeRows(hash, tree.vlans.outer);
    test::takeRows(hash, tree.vlans.inner);
    test::takeRows(hash, tree.neighbours);
    CMemoryBuffer packed(1 << 16, true);
    tree.signals.packValue(packed, false);
    tree.tunnels.packValue(packed, false);
    hash.take(packed.data, static_cast<std::size_t>(packed.size));
    CLedgers all;
    tree.addLedgers(all);
    for (CLedger const & ledger : {all.ipv6Connections, all.ipv6Protocols, all.ipv6TcpPorts, all.ipv6UdpPorts,
                                   all.vlans, all.innerVlans, all.neighbours})
        hash.take(ledger);
    return hash.text();
}

// A client that is sent what changed, or the whole.
class Client
{
public:
    Client(CKetrinStatManager & manager, bool tellRowsApart) : m_snapshot(manager.limits())
    {
        m_snapshot.addOid(COid("2"));
        m_snapshot.tellRowsApart(tellRowsApart);
        m_snapshot.initSnapshot(manager);
    }
    test::Bytes sample(CKetrinStatManager & manager, bool whole = false)
    {
        m_snapshot.nextSample(manager);
        CMemoryBuffer packed(1 << 20, true);
        m_snapshot.pack(packed, m_began && !whole);
        m_began = true;
        return test::contents(packed);
    }
    std::string sampleHash(CKetrinStatManager & manager, bool whole = false)
    {
        test::Bytes const packed = sample(manager, whole);
        TreeHash hash;
        hash.take(packed.data(), packed.size());
        return hash.text();
    }

private:
    CStatSnapshot m_snapshot;
    bool m_began = false;
};

struct Scene
{
    std::string name;
    test::Traffic traffic;
    CTableLimits limits{};
    int lowPort = 1;
    int highPort = 1024;
};

CTableLimits small()
{
    CTableLimits limits;
    limits.ipv6Connections = 17;
    limits.ipv6Protocols = 4;
    limits.ipv6TcpPorts = 6;
    limits.ipv6UdpPorts = 2;
    limits.vlans = 5;
    limits.innerVlans = 3;
    limits.neighbours = 7;
    return limits;
}

std::vector<Scene> scenes()
{
    std::vector<Scene> all;
    for (char const * const file : {"ipv6-services.pcap", "ipv6-tunnels.pcap", "llc-snap-ipx-vlan.pcap",
                                    "many-stations-arp.pcap", "file-service-fragments.pcap"})
        all.push_back({.name = file, .traffic = test::bundledTraffic(file)});
    all.push_back(
        {.name = "small-tables", .traffic = test::bundledTraffic("ipv6-services.pcap"), .limits = small()});
    all.push_back({.name = "random-few", .traffic = test::randomIPv6Traffic(1, 20000, 30)});
    all.push_back({.name = "random-many", .traffic = test::randomIPv6Traffic(2, 20000, 5000)});
    all.push_back({.name = "random-small-tables",
                   .traffic = test::randomIPv6Traffic(3, 20000, 300),
                   .limits = small()});
    all.push_back({.name = "random-all-ports",
                   .traffic = test::randomIPv6Traffic(4, 10000, 100),
                   .lowPort = 0,
                   .highPort = 65535});
    return all;
}

void setUp(CKetrinStatManager & manager, Scene const & scene)
{
    for (int group = 1; group <= 7; ++group)
        manager.enableStatistic(COid("2." + std::to_string(group)));
    manager.setTCPPortRange(scene.lowPort, scene.highPort);
    manager.setUDPPortRange(scene.lowPort, scene.highPort);
    manager.beginAnalyzing(nullptr);
}

// A line for each stretch of each scene: how many frames, and the hashes of the tree and of its clients.
std::string record(Counting const & count)
{
    std::ostringstream text;
    for (Scene const & scene : scenes()) {
        CKetrinStatManager manager(scene.limits);
        setUp(manager, scene);
        Client early(manager, false);
        Client apart(manager, true);
        Client wholeAtTimes(manager, true);
        constexpr std::size_t stretches = 4;
        for (std::size_t stretch = 0; stretch < stretches; ++stretch) {
            std::size_t const from = scene.traffic.size() * stretch / stretches;
            std::size_t const to = scene.traffic.size() * (stretch + 1) / stretches;
            count(manager, {scene.traffic.begin() + static_cast<std::ptrdiff_t>(from),
                            scene.traffic.begin() + static_cast<std::ptrdiff_t>(to)});
            text << scene.name << ' ' << to << ' ' << treeHash(manager.getExtendedStatistic()) << ' '
                 << early.sampleHash(manager) << ' ' << apart.sampleHash(manager) << ' '
                 << apart.sampleHash(manager) << ' ' << wholeAtTimes.sampleHash(manager, stretch == 2)
                 << '\n';
        }
    }
    return text.str();
}

void countEach(CKetrinStatManager & manager, test::Traffic const & frames)
{
    CNetworkFrame view;
    for (test::Captured const & frame : frames) {
        view.Assign(frame.data.data(), static_cast<unsigned int>(frame.data.size()), frame.length);
        manager.analyzeFrame(&view);
    }
}

void countInBlocks(CKetrinStatManager & manager, test::Traffic const & frames)
{
    std::vector<CFrameView> views;
    for (test::Captured const & frame : frames)
        views.push_back({frame.data.data(), static_cast<unsigned int>(frame.data.size()), frame.length});
    std::span<CFrameView const> left = views;
    for (std::size_t size = 1; !left.empty(); ++size) {
        std::size_t const taken = std::min(size, left.size());
        manager.analyzeFrames(left.first(taken));
        left = left.subspan(taken);
    }
}

// All bytes of one tree, 32 in a line.
std::string packedBytes()
{
    Scene const scene{.name = "", .traffic = test::bundledTraffic("ipv6-tunnels.pcap"), .limits = small()};
    CKetrinStatManager manager(scene.limits);
    setUp(manager, scene);
    Client client(manager, true);
    countEach(manager, scene.traffic);
    test::Bytes const packed = client.sample(manager, true);
    std::string text;
    for (std::size_t i = 0; i < packed.size(); ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x%c", static_cast<unsigned int>(packed[i]),
                      i % 32 == 31 || i + 1 == packed.size() ? '\n' : ' ');
        text += digits;
    }
    return text;
}

// The record of that name, compared with what is made now, or written anew.
void expectGolden(char const * name, std::string const & made)
{
    std::string const path = std::string(KETSTATS_TEST_DATA "/extended/golden/") + name;
    if (std::getenv("KETSTATS_WRITE_GOLDEN"))
        std::ofstream(path) << made;
    std::ifstream stream(path);
    EXPECT_EQ(made, std::string(std::istreambuf_iterator<char>(stream), {}));
}

TEST(ExtendedGolden, FramesCountAsTheyDid)
{
    expectGolden("pass.txt", record(countEach));
}

TEST(ExtendedGolden, BlocksOfFramesCountTheSame)
{
    expectGolden("pass.txt", record(countInBlocks));
}

TEST(ExtendedGolden, ACaptureIsPackedAsItWas)
{
    expectGolden("ipv6-tunnels.txt", packedBytes());
}

} // namespace
