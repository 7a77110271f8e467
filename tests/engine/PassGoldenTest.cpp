#include "ketstats/engine/StatManager.h"
#include "ketstats/snapshot/StatSnapshot.h"

#include "tests/support/Traffic.h"
#include "tests/support/TreeHash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <span>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace KetStats;
using ktools::CMemoryBuffer;
using test::takeRows;
using Hash = test::TreeHash;

// What the pass makes of much traffic, bit for bit, as it was recorded: bytes, update order, ids and births of rows,
// ledgers. With KETSTATS_WRITE_GOLDEN in the environment the record is written anew.

namespace {

using Manager = CKetrinStatManager;
using Counting = std::function<void(Manager &, std::vector<test::Captured> const &)>;

std::string treeHash(CAgentStatistic & tree)
{
    Hash hash;
    hash.take(static_cast<unsigned long long>(tree.globalStatistics.transmittedData.get()));
    hash.take(tree.globalStatistics.transmittedFrames.get());
    CMemoryBuffer packed(1 << 20, true);
    tree.frameTables.packValue(packed, false);
    hash.take(packed.data, static_cast<std::size_t>(packed.size));
    takeRows(hash, tree.stations);
    for (CStationStat const & station : std::as_const(tree.stations)) {
        takeRows(hash, station.tcpPorts);
        takeRows(hash, station.udpPorts);
    }
    takeRows(hash, tree.protocols);
    takeRows(hash, tree.macConnections);
    takeRows(hash, tree.ipConnections);
    takeRows(hash, tree.arpTable);
    takeRows(hash, tree.ipSubprotocols);
    takeRows(hash, tree.ipPorts.tcpPorts);
    takeRows(hash, tree.ipPorts.udpPorts);
    hash.take(tree.ledgers());
    return hash.text();
}

// A client that is sent what changed, of all that no clock is in.
class Client
{
public:
    explicit Client(Manager & manager, bool tellRowsApart) : m_snapshot(manager.limits())
    {
        for (char const * const oid : {"1.4", "1.5", "1.6", "1.7", "1.8", "1.9", "1.10", "1.11"})
            m_snapshot.addOid(COid(oid));
        m_snapshot.tellRowsApart(tellRowsApart);
        m_snapshot.initSnapshot(manager);
    }
    std::string sampleHash(Manager & manager, bool whole = false)
    {
        m_snapshot.nextSample(manager);
        CMemoryBuffer packed(4 << 20, true);
        m_snapshot.pack(packed, m_began && !whole);
        m_began = true;
        Hash hash;
        hash.take(packed.data, static_cast<std::size_t>(packed.size));
        hash.take(m_snapshot.getLedgers());
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
    std::vector<char const *> groups{"1.4", "1.5", "1.6", "1.7", "1.8"};
    int lowPort = 1;
    int highPort = 1024;
};

CTableLimits small()
{
    CTableLimits limits;
    limits.stations = 9;
    limits.protocols = 4;
    limits.macConnections = 12;
    limits.ipConnections = 17;
    limits.arpTable = 5;
    limits.ipSubprotocols = 3;
    limits.tcpPorts = 6;
    limits.udpPorts = 2;
    limits.stationTcpPorts = 3;
    limits.stationUdpPorts = 2;
    return limits;
}

std::vector<Scene> scenes()
{
    std::vector<Scene> all;
    for (char const * const file :
         {"internet-mixed.pcap", "many-stations-arp.pcap", "many-connections.pcap", "llc-snap-ipx-vlan.pcap",
          "file-service-fragments.pcap", "malformed-and-runts.pcap", "truncated-snaplen.pcap",
          "multicast-ip-options.pcap"})
        all.push_back({.name = file, .traffic = test::bundledTraffic(file)});
    all.push_back(
        {.name = "small-tables", .traffic = test::bundledTraffic("internet-mixed.pcap"), .limits = small()});
    all.push_back({.name = "random-few", .traffic = test::randomTraffic(1, 20000, 40)});
    all.push_back({.name = "random-many", .traffic = test::randomTraffic(2, 20000, 5000)});
    all.push_back(
        {.name = "random-small-tables", .traffic = test::randomTraffic(3, 20000, 300), .limits = small()});
    all.push_back({.name = "random-all-ports",
                   .traffic = test::randomTraffic(4, 20000, 100),
                   .lowPort = 0,
                   .highPort = 65535});
    for (char const * const group : {"1.4", "1.5", "1.6", "1.7", "1.8"})
        all.push_back({.name = std::string("only-") + group,
                       .traffic = test::randomTraffic(5, 4000, 300),
                       .groups = {group}});
    return all;
}

// A line for each stretch of each scene: how many frames, and the hashes of the tree and of its clients. One samples
// again where nothing was counted, one at times only, and one packs the whole at times.
std::string record(Counting const & count, bool bothTrees = false)
{
    std::ostringstream text;
    for (Scene const & scene : scenes()) {
        Manager manager(scene.limits);
        for (char const * const group : scene.groups)
            manager.enableStatistic(COid(group));
        for (int group = 1; bothTrees && group <= 7; ++group)
            manager.enableStatistic(COid("2." + std::to_string(group)));
        manager.setTCPPortRange(scene.lowPort, scene.highPort);
        manager.setUDPPortRange(scene.lowPort, scene.highPort);
        manager.beginAnalyzing(nullptr);
        Client early(manager, false);
        Client apart(manager, true);
        Client quiet(manager, true);
        Client rare(manager, false);
        Client wholeAtTimes(manager, true);
        constexpr std::size_t stretches = 5;
        for (std::size_t stretch = 0; stretch < stretches; ++stretch) {
            std::size_t const from = scene.traffic.size() * stretch / stretches;
            std::size_t const to = scene.traffic.size() * (stretch + 1) / stretches;
            count(manager, {scene.traffic.begin() + static_cast<std::ptrdiff_t>(from),
                            scene.traffic.begin() + static_cast<std::ptrdiff_t>(to)});
            text << scene.name << ' ' << to << ' ' << treeHash(manager.getAgentStatistic()) << ' '
                 << early.sampleHash(manager) << ' ' << apart.sampleHash(manager);
            for (int again = 0; again < 3; ++again)
                text << ' ' << quiet.sampleHash(manager);
            if (stretch % 2 == 1)
                text << ' ' << rare.sampleHash(manager) << ' ' << rare.sampleHash(manager);
            text << ' ' << wholeAtTimes.sampleHash(manager, stretch == 2) << ' '
                 << wholeAtTimes.sampleHash(manager) << '\n';
        }
    }
    return text.str();
}

std::string const goldenFile = KETSTATS_TEST_DATA "/engine/golden/pass.txt";

std::string golden()
{
    std::ifstream stream(goldenFile);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void countEach(Manager & manager, std::vector<test::Captured> const & frames)
{
    CNetworkFrame view;
    for (test::Captured const & frame : frames) {
        view.Assign(frame.data.data(), static_cast<unsigned int>(frame.data.size()), frame.length);
        manager.analyzeFrame(&view);
    }
}

} // namespace

TEST(PassGolden, FramesCountAsTheyDid)
{
    std::string const made = record(countEach);
    if (std::getenv("KETSTATS_WRITE_GOLDEN"))
        std::ofstream(goldenFile) << made;
    EXPECT_EQ(made, golden());
}

// A frame that keeps its bytes in a way of its own.
TEST(PassGolden, FramesOfAnotherClassCountTheSame)
{
    class Own : public CNetworkFrame
    {
    public:
        explicit Own(test::Captured const & frame) : m_frame(frame) {}
        unsigned char const * GetData() const override { return m_frame.data.data(); }
        int GetLength() const override { return static_cast<int>(m_frame.length); }
        unsigned int GetCapturedLength() const override
        {
            return static_cast<unsigned int>(m_frame.data.size());
        }

    private:
        test::Captured const & m_frame;
    };
    EXPECT_EQ(record([](Manager & manager, std::vector<test::Captured> const & frames) {
                  for (test::Captured const & frame : frames) {
                      Own own(frame);
                      manager.analyzeFrame(&own);
                  }
              }),
              golden());
}

TEST(PassGolden, BlocksOfFramesCountTheSame)
{
    EXPECT_EQ(record([](Manager & manager, std::vector<test::Captured> const & frames) {
                  std::vector<CFrameView> views;
                  for (test::Captured const & frame : frames)
                      views.push_back(
                          {frame.data.data(), static_cast<unsigned int>(frame.data.size()), frame.length});
                  // Blocks of 1, 2, 3 frames, and so on.
                  std::span<CFrameView const> left = views;
                  for (std::size_t size = 1; !left.empty(); ++size) {
                      std::size_t const taken = std::min(size, left.size());
                      manager.analyzeFrames(left.first(taken));
                      left = left.subspan(taken);
                  }
              }),
              golden());
}

// Whatever the second tree makes of the same frames.
TEST(PassGolden, FramesCountTheSameInTheFirstTreeBesideTheSecond)
{
    EXPECT_EQ(record(countEach, true), golden());
}
