#include "tests/snapshot/Clock.h"
#include "tests/snapshot/Snapshots.h"
#include "tests/support/Allocations.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <limits>
#include <list>
#include <memory>
#include <new>
#include <optional>

using namespace KetStats;
using test::Clock;
using test::Frame;
using test::host;
using test::Host;
using test::ipPair;
using test::mac;
using test::packedChanges;
using test::packedFull;
using test::put;
using test::Random;
using test::read;
using test::visible;

namespace KetStats {

void PrintTo(CLedger const & ledger, std::ostream * out)
{
    *out << ledger.rows << " rows, " << ledger.framesTransmitted << '/' << ledger.bytesTransmitted
         << " sent, " << ledger.framesReceived << '/' << ledger.bytesReceived << " received";
}

} // namespace KetStats

namespace {

// The counts of a ledger without its rows.
CLedger counts(CLedger ledger)
{
    ledger.rows = 0;
    return ledger;
}

CLedger operator+(CLedger left, CLedger const & right)
{
    left.rows += right.rows;
    left.framesTransmitted += right.framesTransmitted;
    left.bytesTransmitted += right.bytesTransmitted;
    left.framesReceived += right.framesReceived;
    left.bytesReceived += right.bytesReceived;
    return left;
}

CLedger operator-(CLedger left, CLedger const & right)
{
    left.rows -= right.rows;
    left.framesTransmitted -= right.framesTransmitted;
    left.bytesTransmitted -= right.bytesTransmitted;
    left.framesReceived -= right.framesReceived;
    left.bytesReceived -= right.bytesReceived;
    return left;
}

// What the rows of a table show.
template <class Table>
CLedger shown(Table const & table)
{
    CLedger sum;
    for (auto const & row : table) {
        sum.framesTransmitted += row.framesTransmitted.get();
        sum.bytesTransmitted += static_cast<unsigned long long>(row.dataTransmitted.get());
        if constexpr (requires { row.framesReceived; }) {
            sum.framesReceived += row.framesReceived.get();
            sum.bytesReceived += static_cast<unsigned long long>(row.dataReceived.get());
        }
    }
    return sum;
}

// What each table of a tree shows. Bindings count nothing.
CLedgers shownBy(CAgentStatistic const & tree)
{
    CLedgers all;
    all.stations = shown(tree.stations);
    all.protocols = shown(tree.protocols);
    all.macConnections = shown(tree.macConnections);
    all.ipConnections = shown(tree.ipConnections);
    all.ipSubprotocols = shown(tree.ipSubprotocols);
    all.tcpPorts = shown(tree.ipPorts.tcpPorts);
    all.udpPorts = shown(tree.ipPorts.udpPorts);
    for (CStationStat const & station : tree.stations) {
        all.stationTcpPorts = all.stationTcpPorts + shown(station.tcpPorts);
        all.stationUdpPorts = all.stationUdpPorts + shown(station.udpPorts);
    }
    return all;
}

// A count of frames that knows no rows: what each table is told, by the rules of the steps.
class Count
{
public:
    void enable(unsigned int group, bool on) { m_enabled[group] = on; }
    void reset() { totals = {}; }

    void ip(bool tcp, unsigned int fromPort, unsigned int toPort, unsigned long long bytes)
    {
        protocolsAndMacs(bytes, true);
        if (m_enabled[8]) {
            sent(totals.ipConnections, bytes);
            sent(totals.ipSubprotocols, bytes);
            ports(tcp ? totals.tcpPorts : totals.udpPorts, fromPort, toPort, bytes);
            if (m_enabled[5])
                ports(tcp ? totals.stationTcpPorts : totals.stationUdpPorts, fromPort, toPort, bytes);
        }
    }
    void other(bool unicast, unsigned long long bytes) { protocolsAndMacs(bytes, unicast); }

    CLedgers totals;

private:
    static void sent(CLedger & ledger, unsigned long long bytes)
    {
        ledger.framesTransmitted += 1;
        ledger.bytesTransmitted += bytes;
    }
    static void received(CLedger & ledger, unsigned long long bytes)
    {
        ledger.framesReceived += 1;
        ledger.bytesReceived += bytes;
    }
    static bool hasRow(unsigned int port) { return port >= 1 && port <= 1024; }
    static void ports(CLedger & ledger, unsigned int from, unsigned int to, unsigned long long bytes)
    {
        if (hasRow(from))
            sent(ledger, bytes);
        if (hasRow(to))
            received(ledger, bytes);
    }
    void protocolsAndMacs(unsigned long long bytes, bool unicast)
    {
        if (m_enabled[6])
            sent(totals.protocols, bytes);
        if (m_enabled[5])
            sent(totals.stations, bytes);
        if (m_enabled[5] && unicast)
            received(totals.stations, bytes);
        if ((m_enabled[5] || m_enabled[7]) && unicast)
            sent(totals.macConnections, bytes);
    }

    bool m_enabled[10] = {};
};

void expectBalance(CLedgers const & rows, CLedgers const & ledgers, CLedgers const & total)
{
    auto const balance = [&](char const * table, CLedger CLedgers::*of) {
        EXPECT_EQ(counts(rows.*of + ledgers.*of), total.*of) << table;
    };
    balance("stations", &CLedgers::stations);
    balance("protocols", &CLedgers::protocols);
    balance("MAC traffic", &CLedgers::macConnections);
    balance("IP traffic", &CLedgers::ipConnections);
    balance("IP subprotocols", &CLedgers::ipSubprotocols);
    balance("TCP ports", &CLedgers::tcpPorts);
    balance("UDP ports", &CLedgers::udpPorts);
    balance("TCP ports of stations", &CLedgers::stationTcpPorts);
    balance("UDP ports of stations", &CLedgers::stationUdpPorts);
}

// A client, with what had been counted at its zero point.
struct Client
{
    Client(CKetrinStatManager & manager, CLedgers const & totals, bool changesOnly)
        : snapshot(manager.limits()),
          receiver(manager.limits()),
          zero(totals),
          deltas(changesOnly)
    {
        snapshot.tellRowsApart(true);
        snapshot.addOid(COid("1"));
        snapshot.initSnapshot(manager);
    }

    void sample(CKetrinStatManager & manager, CLedgers const & totals)
    {
        snapshot.nextSample(manager);
        ASSERT_EQ(read(receiver, deltas ? packedChanges(snapshot) : packedFull(snapshot)),
                  test::nothingRaised);
        receiver.setLedgers(snapshot.getLedgers());

        CLedgers expected = totals;
        for (auto const based :
             {&CLedgers::stations, &CLedgers::protocols, &CLedgers::macConnections, &CLedgers::ipConnections})
            expected.*based = expected.*based - zero.*based;
        expectBalance(shownBy(visible(snapshot)), snapshot.getLedgers(), expected);
        // What came and went between two samples no row of the receiver ever showed.
        EXPECT_EQ(counts(shown(visible(receiver).ipConnections) + receiver.getGivenUp().ipConnections),
                  expected.ipConnections)
            << "at the receiver";
        EXPECT_TRUE(test::soundFromOutside(visible(receiver).ipConnections));
    }

    CStatSnapshot snapshot;
    CStatSnapshot receiver;
    CLedgers zero;
    bool deltas;
};

// Random frames between few hosts more than the tables hold, counted by a manager and by a count that knows no
// rows, and watched by clients that come and go.
class Flood
{
public:
    Flood(CTableLimits const & limits, unsigned int hosts, unsigned int seed)
        : m_manager(limits),
          m_random(seed),
          m_hosts(hosts)
    {
        m_manager.beginAnalyzing(nullptr);
        for (unsigned int group = 4; group <= 8; ++group)
            enable(group, true);
    }

    void run(int steps)
    {
        for (int step = 0; step < steps; ++step) {
            SCOPED_TRACE(testing::Message() << "step " << step);
            turn();
            if (step % 37 == 0)
                expectBalance(shownBy(tree()), tree().ledgers(), m_count.totals);
            if (testing::Test::HasFailure())
                return;
        }
    }
    // From now on memory runs out within every other frame.
    void runOutOfMemory() { m_scarce = true; }
    CAgentStatistic & tree() { return m_manager.getAgentStatistic(); }
    CLedgers const & counted() const { return m_count.totals; }
    unsigned long long samples() const { return m_samples; }

private:
    void enable(unsigned int group, bool on)
    {
        COid const oid("1." + std::to_string(group));
        on ? m_manager.enableStatistic(oid) : m_manager.disableStatistic(oid);
        m_count.enable(group, on);
    }
    Host anyHost() { return host(m_random.below(m_random.oneIn(3) ? m_hosts : 1 + m_hosts / 4)); }
    unsigned int anyPort() { return m_random.oneIn(3) ? 40000 : m_random.below(1030); }

    void count(test::Bytes const & bytes, bool isIP, bool unicast, bool tcp = false, unsigned int from = 0,
               unsigned int to = 0)
    {
        auto const length = static_cast<unsigned int>(bytes.size()) + m_random.below(1400);
        Frame frame(bytes, length);
        {
            std::optional<test::MemoryRunsOut> soon;
            if (m_scarce && m_random.oneIn(2))
                soon.emplace(m_random.below(5));
            m_manager.analyzeFrame(&frame);
        }
        ++m_frames;
        EXPECT_EQ(tree().globalStatistics.transmittedFrames.get(), m_frames);
        isIP ? m_count.ip(tcp, from, to, length + 4) : m_count.other(unicast, length + 4);
    }

    void turn()
    {
        Host const from = anyHost();
        Host const to = anyHost();
        switch (m_random.below(400)) {
        case 0:
            enable(4 + m_random.below(5), m_random.oneIn(2));
            break;
        case 1:
            if (m_random.oneIn(6)) {
                // Whoever resets the tree tells its clients to begin anew.
                m_manager.reset();
                m_count.reset();
                m_frames = 0;
                m_clients.clear();
            }
            break;
        case 2:
            if (m_clients.size() < 4)
                m_clients.emplace_back(m_manager, m_count.totals, m_random.oneIn(2));
            break;
        case 3:
            if (!m_clients.empty() && m_random.oneIn(8))
                m_clients.pop_front();
            break;
        case 4:
        case 5:
        case 6:
        case 7:
        case 8:
            for (Client & client : m_clients) {
                client.sample(m_manager, m_count.totals);
                ++m_samples;
            }
            break;
        default:
            anyFrame(from, to);
        }
    }

    void anyFrame(Host const & from, Host const & to)
    {
        unsigned int const fromPort = anyPort();
        unsigned int const toPort = anyPort();
        switch (m_random.below(8)) {
        case 0:
            count(test::ethernet(test::broadcastMac, from.mac.c_str(), 0x0600 + m_random.below(40)), false,
                  false);
            break;
        case 1:
            count(test::arpRequest(from, to), false, false);
            break;
        case 2:
            count(test::ethernet(to.mac.c_str(), from.mac.c_str(), 0x0900 + m_random.below(40)), false, true);
            break;
        case 3:
        case 4:
            count(test::udpFrame(from, to, fromPort, toPort), true, true, false, fromPort, toPort);
            break;
        default:
            count(test::tcpFrame(from, to, fromPort, toPort), true, true, true, fromPort, toPort);
        }
    }

    Clock m_clock;
    CKetrinStatManager m_manager;
    Count m_count;
    Random m_random;
    unsigned int m_hosts;
    std::list<Client> m_clients;
    unsigned long long m_samples = 0;
    unsigned int m_frames = 0; // since the last reset
    bool m_scarce = false;
};

struct Setting
{
    char const * name;
    CTableLimits limits;
    unsigned int hosts;
    int steps;
};

class Ledgers : public testing::TestWithParam<Setting>
{};

TEST_P(Ledgers, AndRowsAreWhatWasCounted)
{
    for (unsigned int seed = 1; seed <= 3; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Flood flood(GetParam().limits, GetParam().hosts, seed);
        flood.run(GetParam().steps);
        if (HasFailure())
            return;
        EXPECT_GT(flood.samples(), 10U);
    }
}

TEST_P(Ledgers, AndRowsAreWhatWasCountedWhereMemoryRunsOut)
{
    for (unsigned int seed = 11; seed <= 13; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Flood flood(GetParam().limits, GetParam().hosts, seed);
        flood.runOutOfMemory();
        flood.run(GetParam().steps);
        if (HasFailure())
            return;
        EXPECT_GT(flood.samples(), 10U);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, Ledgers,
    testing::Values(Setting{"TinyTables", {3, 3, 3, 3, 3, 2, 3, 3, 3, 3}, 12, 6000},
                    Setting{"SmallTables", {9, 12, 14, 20, 8, 2, 40, 20, 5, 4}, 16, 6000},
                    Setting{"StationsThatStay", {60, 9, 20, 20, 8, 3, 30, 30, 3, 3}, 40, 4000},
                    Setting{"TheLibrarysOwnTables", {}, 400, 6000}),
    [](auto const & instance) { return std::string(instance.param.name); });

// ---- by hand ----

TEST(LedgersOfAClient, GrowthOfARowThatStoodAtTheZeroPointIsAllThatCounts)
{
    CTableLimits limits;
    limits.protocols = 2; // one row
    CAgentStatistic live(limits);
    CStatSnapshot snapshot(limits);
    snapshot.addOid("1");
    put(live.protocols, test::id(1), 100, 1000);
    snapshot.initSnapshot(live);
    live.protocols.getOldest()->framesTransmitted.add(5);

    put(live.protocols, test::id(2), 7, 70);
    snapshot.nextSample(live);

    EXPECT_EQ(live.protocols.ledger(), (CLedger{1, 105, 1000, 0, 0}));
    EXPECT_EQ(snapshot.getLedgers().protocols, (CLedger{1, 5, 0, 0, 0}));
}

// A row that was given up and came back, and showed less than the one before it.
template <class Check>
void afterARowCameBack(bool apart, Check && check)
{
    CTableLimits limits;
    limits.protocols = 2;
    CAgentStatistic live(limits);
    CStatSnapshot snapshot(limits);
    snapshot.tellRowsApart(apart);
    snapshot.addOid("1");
    put(live.protocols, test::id(1), 100, 1000);
    snapshot.initSnapshot(live);
    put(live.protocols, test::id(2), 7, 70);
    put(live.protocols, test::id(1), 3, 30);
    for (int samples = 0; samples < 3; ++samples)
        snapshot.nextSample(live);
    packedFull(snapshot);
    check(*visible(snapshot).protocols.getOldest(), snapshot.getLedgers().protocols);
}

TEST(LedgersOfAClient, RowThatCameBackIsReducedByTheOldBaseUnlessRowsAreToldApart)
{
    afterARowCameBack(false, [](CProtocolStat const & row, CLedger const &) {
        EXPECT_EQ(row.framesTransmitted.get(), 3U - 100U) << "wrapped";
        EXPECT_EQ(row.dataTransmitted.get(), 30 - 1000);
    });
    afterARowCameBack(true, [](CProtocolStat const & row, CLedger const & ledger) {
        EXPECT_EQ(row.framesTransmitted.get(), 3U);
        EXPECT_EQ(row.dataTransmitted.get(), 30);
        EXPECT_EQ(ledger, (CLedger{2, 7, 70, 0, 0}));
    });
}

TEST(LedgersOfAClient, ResetTreeTellsWhatItGaveUpSince)
{
    CTableLimits limits;
    limits.protocols = 2;
    CAgentStatistic live(limits);
    CStatSnapshot snapshot(limits);
    snapshot.tellRowsApart(true);
    snapshot.addOid("1");
    put(live.protocols, test::id(1), 100, 1000);
    put(live.protocols, test::id(2), 100, 1000);
    snapshot.initSnapshot(live);

    live.reset();
    EXPECT_EQ(live.ledgers(), CLedgers());
    put(live.protocols, test::id(2), 4, 40);
    put(live.protocols, test::id(3), 5, 50);
    snapshot.nextSample(live);

    EXPECT_EQ(snapshot.getLedgers().protocols, (CLedger{1, 4, 40, 0, 0}));
}

TEST(LedgersOfAClient, GroupsThatAreNotCalculatedHaveNone)
{
    CTableLimits limits;
    limits.protocols = limits.ipConnections = 2;
    CAgentStatistic live(limits);
    CStatSnapshot snapshot(limits);
    snapshot.addOid("1.8");
    snapshot.initSnapshot(live);
    for (unsigned int number = 1; number <= 3; ++number) {
        put(live.protocols, test::id(number), 1, 10);
        put(live.ipConnections, ipPair(host(number).ip, "10.9.9.9"), 1, 10);
    }

    snapshot.nextSample(live);

    EXPECT_EQ(snapshot.getLedgers().ipConnections, (CLedger{2, 2, 20, 0, 0}));
    EXPECT_EQ(snapshot.getLedgers().protocols, CLedger());
}

TEST(LedgersOfAClient, BusiestPairOfAFloodIsToldThoughNoRowShowsIt)
{
    CKetrinStatManager manager;
    manager.enableStatistic("1.8");
    manager.beginAnalyzing(nullptr);
    Frame busy(test::tcpFrame(host(0), host(1), 40000, 40001), 100);
    for (int i = 0; i < 5000; ++i)
        manager.analyzeFrame(&busy);
    for (unsigned int i = 0; i < 1200; ++i) {
        Frame frame(test::tcpFrame(host(2 + i), host(1), 40000, 40001), 100);
        manager.analyzeFrame(&frame);
    }

    CIPConnectionStat::Container const & table = manager.getAgentStatistic().ipConnections;
    EXPECT_EQ(table.size(), 999U);
    EXPECT_EQ(table.ledger(), (CLedger{202, 5201, 5201 * 104, 0, 0}));
}

// ---- folding ----

class Folding : public testing::Test
{
protected:
    Folding()
    {
        limits.ipConnections = 4; // three rows
        live = std::make_unique<CAgentStatistic>(limits);
        agent = std::make_unique<CStatSnapshot>(limits);
        console = std::make_unique<CStatSnapshot>(limits);
        agent->addOid("1.8");
        agent->initSnapshot(*live);
        table = &visible(*console).ipConnections;
    }

    void count(std::string const & from, unsigned int frames)
    {
        auto & row = *live->ipConnections.renewed(ipPair(from, from));
        row.framesTransmitted.add(frames);
        row.dataTransmitted.add(frames * 10LL);
    }
    void send()
    {
        agent->nextSample(*live);
        ASSERT_EQ(read(*console, packedChanges(*agent)), test::nothingRaised);
        console->setLedgers(agent->getLedgers());
    }
    unsigned int framesOf(CIPConnectionStat const * row) { return row ? row->framesTransmitted.get() : 0; }

    CTableLimits limits;
    std::unique_ptr<CAgentStatistic> live;
    std::unique_ptr<CStatSnapshot> agent;
    std::unique_ptr<CStatSnapshot> console;
    CIPConnectionStat::Container * table = nullptr;
};

TEST_F(Folding, PairOfZerosAndTheOthersAreTwoRows)
{
    count("0.0.0.0", 5);
    count("10.0.0.1", 7);
    count("10.0.0.2", 8);
    send();
    count("0.0.0.0", 1);
    count("10.0.0.3", 9); // takes the id of the first
    send();

    EXPECT_EQ(framesOf(table->find(ipPair("0.0.0.0", "0.0.0.0"))), 6U);
    EXPECT_EQ(framesOf(table->getSummaryStat()), 7U);
    EXPECT_NE(table->getSummaryStat(), table->find(ipPair("0.0.0.0", "0.0.0.0")));
    EXPECT_EQ(table->size(), 4U);

    count("10.0.0.2", 1);
    count("10.0.0.3", 1);
    count("10.0.0.4", 1); // now the pair of zeros goes
    send();
    EXPECT_EQ(framesOf(table->getSummaryStat()), 7U + 6U);
    EXPECT_EQ(table->find(ipPair("0.0.0.0", "0.0.0.0")), table->getSummaryStat());
    EXPECT_EQ(console->getGivenUp().ipConnections, CLedger()) << "all of it is shown";
}

TEST_F(Folding, OthersAreNotToldTwice)
{
    for (unsigned int number = 0; number < 3; ++number)
        count(host(number).ip, 10);
    send();
    for (unsigned int number = 3; number < 9; ++number)
        count(host(number).ip, 1); // three of these were never sent
    send();

    EXPECT_EQ(framesOf(table->getSummaryStat()), 30U);
    EXPECT_EQ(agent->getLedgers().ipConnections, (CLedger{6, 33, 330, 0, 0}));
    EXPECT_EQ(console->getGivenUp().ipConnections, (CLedger{6, 3, 30, 0, 0}));
}

TEST_F(Folding, SnapshotOfASnapshotFoldsOnce)
{
    CStatSnapshot relay(limits);
    CStatSnapshot last(limits);
    relay.addOid("1.8");
    relay.initSnapshot(visible(last)); // empty
    auto const pass = [&] {
        send();
        relay.nextSample(visible(*console));
        ASSERT_EQ(read(last, packedChanges(relay)), test::nothingRaised);
    };
    for (unsigned int number = 0; number < 3; ++number)
        count(host(number).ip, 10);
    pass();
    for (unsigned int number = 3; number < 12; ++number) {
        count(host(number).ip, 1);
        pass();
    }

    CIPConnectionStat const * const others = visible(last).ipConnections.getChildById(4U);
    EXPECT_EQ(framesOf(table->getSummaryStat()), 30U + 6U);
    EXPECT_EQ(framesOf(others), 30U + 6U);
    EXPECT_EQ(visible(last).ipConnections.size(), 4U);
    last.setLedgers(agent->getLedgers());
    EXPECT_EQ(last.getGivenUp().ipConnections, CLedger());
}

TEST_F(Folding, CountsAtTheEndOfTheirRangeAreFolded)
{
    for (unsigned int number = 0; number < 3; ++number)
        put(live->ipConnections, ipPair(host(number).ip, host(number).ip), 1,
            std::numeric_limits<long long>::max());
    send();
    for (unsigned int number = 3; number < 5; ++number)
        count(host(number).ip, 1);
    send();

    EXPECT_EQ(table->getSummaryStat()->dataTransmitted.get(), -2) << "wrapped, as all counters do";
}

} // namespace
