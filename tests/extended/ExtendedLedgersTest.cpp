#include "tests/snapshot/Clock.h"
#include "tests/snapshot/Snapshots.h"
#include "tests/support/Allocations.h"
#include "tests/support/IPv6Frames.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <list>
#include <optional>
#include <utility>

using namespace KetStats;
using namespace test;

// Of each table of the second tree: what its rows show and what its ledger has is what was counted.

namespace {

// The tables that count frames.
constexpr CLedger CLedgers::*counting[] = {&CLedgers::ipv6Connections, &CLedgers::ipv6Protocols,
                                           &CLedgers::ipv6TcpPorts,    &CLedgers::ipv6UdpPorts,
                                           &CLedgers::vlans,           &CLedgers::innerVlans};
constexpr CLedger CLedgers::*withBase[] = {&CLedgers::ipv6Connections, &CLedgers::vlans,
                                           &CLedgers::innerVlans};

constexpr unsigned long long CLedger::*counts[] = {&CLedger::framesTransmitted, &CLedger::bytesTransmitted,
                                                   &CLedger::framesReceived, &CLedger::bytesReceived};

CExtendedStatistic & extended(CStatSnapshot & snapshot)
{
    return static_cast<CExtendedStatistic &>(*snapshot.getStat(COid("2")));
}

template <class Table>
void addRows(CLedger & sum, Table const & table)
{
    for (auto const & row : table) {
        sum.framesTransmitted += row.framesTransmitted.get();
        sum.bytesTransmitted += static_cast<unsigned long long>(row.dataTransmitted.get());
        if constexpr (requires { row.framesReceived; }) {
            sum.framesReceived += row.framesReceived.get();
            sum.bytesReceived += static_cast<unsigned long long>(row.dataReceived.get());
        }
    }
}

// Rows and ledgers together.
CLedgers sumOf(CExtendedStatistic const & tree, CLedgers sum)
{
    addRows(sum.ipv6Connections, tree.ipv6Connections);
    addRows(sum.ipv6Protocols, tree.ipv6Protocols);
    addRows(sum.ipv6TcpPorts, tree.ipv6Ports.tcpPorts);
    addRows(sum.ipv6UdpPorts, tree.ipv6Ports.udpPorts);
    addRows(sum.vlans, tree.vlans.outer);
    addRows(sum.innerVlans, tree.vlans.inner);
    return sum;
}

void expectSame(CLedgers const & sum, CLedgers const & expected)
{
    for (std::size_t table = 0; table < std::size(counting); ++table)
        for (std::size_t count = 0; count < std::size(counts); ++count)
            ASSERT_EQ(sum.*counting[table].*counts[count], expected.*counting[table].*counts[count])
                << "table " << table << ", count " << count;
}

// What tables are told of frames, by a count that knows no rows.
class Count
{
public:
    struct FrameOf
    {
        bool unicast = true;
        bool tcp = true;
        unsigned int fromPort = 0;
        unsigned int toPort = 0;
        unsigned int tags = 0;
    };

    void enable(unsigned int group, bool on) { m_enabled[group] = on; }

    void take(FrameOf const & frame, unsigned long long bytes)
    {
        if (m_enabled[4] && frame.tags > 0)
            sent(totals.vlans, bytes);
        if (m_enabled[4] && frame.tags > 1)
            sent(totals.innerVlans, bytes);
        if (!frame.unicast)
            return;
        if (m_enabled[1])
            sent(totals.ipv6Connections, bytes);
        if (m_enabled[2])
            sent(totals.ipv6Protocols, bytes);
        CLedger & ports = frame.tcp ? totals.ipv6TcpPorts : totals.ipv6UdpPorts;
        if (m_enabled[3] && hasRow(frame.fromPort))
            sent(ports, bytes);
        if (m_enabled[3] && hasRow(frame.toPort)) {
            ports.framesReceived += 1;
            ports.bytesReceived += bytes;
        }
    }

    CLedgers totals;

private:
    static void sent(CLedger & ledger, unsigned long long bytes)
    {
        ledger.framesTransmitted += 1;
        ledger.bytesTransmitted += bytes;
    }
    static bool hasRow(unsigned int port) { return port >= 1 && port <= 1024; }

    bool m_enabled[8] = {};
};

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
        snapshot.addOid("2");
        snapshot.initSnapshot(manager);
    }

    void sample(CKetrinStatManager & manager, CLedgers const & totals)
    {
        snapshot.nextSample(manager);
        ASSERT_EQ(read(receiver, deltas ? packedChanges(snapshot) : packedFull(snapshot)), nothingRaised);
        receiver.setLedgers(snapshot.getLedgers());

        CLedgers expected = totals;
        for (auto const table : withBase)
            for (auto const count : counts)
                expected.*table.*count -= zero.*table.*count;
        expectSame(sumOf(extended(snapshot), snapshot.getLedgers()), expected);
        // At a receiver the row of the others has a part of what was given up.
        CLedger traffic = receiver.getGivenUp().ipv6Connections;
        addRows(traffic, extended(receiver).ipv6Connections);
        ASSERT_EQ(traffic.framesTransmitted, expected.ipv6Connections.framesTransmitted);
        ASSERT_EQ(traffic.bytesTransmitted, expected.ipv6Connections.bytesTransmitted);
        ASSERT_TRUE(soundFromOutside(extended(receiver).ipv6Connections));
    }

    CStatSnapshot snapshot;
    CStatSnapshot receiver;
    CLedgers zero;
    bool deltas;
};

// Random frames between a few hosts more than the tables hold, watched by clients that come and go.
class Flood
{
public:
    Flood(CTableLimits const & limits, unsigned int hosts, unsigned int seed, bool scarce)
        : m_manager(limits),
          m_random(seed),
          m_hosts(hosts),
          m_scarce(scarce)
    {
        m_manager.beginAnalyzing(nullptr);
        for (unsigned int group = 1; group <= 7; ++group)
            enable(group, true);
    }

    void run(int steps)
    {
        for (int step = 0; step < steps && !testing::Test::HasFatalFailure(); ++step) {
            SCOPED_TRACE(testing::Message() << "step " << step);
            turn();
            if (step % 37 == 0)
                expectTree();
        }
    }
    unsigned int samples() const { return m_samples; }
    unsigned long long givenUp() { return ledgers().ipv6Connections.rows + ledgers().vlans.rows; }

private:
    CExtendedStatistic & tree() { return m_manager.getExtendedStatistic(); }
    CLedgers ledgers()
    {
        CLedgers all;
        tree().addLedgers(all);
        return all;
    }
    void expectTree() { expectSame(sumOf(tree(), ledgers()), m_count.totals); }

    void enable(unsigned int group, bool on)
    {
        COid const oid("2." + std::to_string(group));
        on ? m_manager.enableStatistic(oid) : m_manager.disableStatistic(oid);
        m_count.enable(group, on);
    }

    void turn()
    {
        switch (m_random.below(400)) {
        case 0:
            enable(1 + m_random.below(7), m_random.oneIn(2));
            break;
        case 1:
            if (m_random.oneIn(6)) {
                // Whoever resets the trees tells their clients to begin anew.
                m_manager.reset();
                m_count.totals = {};
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
            anyFrame();
        }
    }

    Ipv6Host anyHost()
    {
        unsigned int const number = m_random.below(m_random.oneIn(3) ? m_hosts : 1 + m_hosts / 4);
        return {host(number).mac, "2001:db8::" + std::to_string(number)};
    }
    unsigned int anyPort() { return m_random.oneIn(3) ? 40000 : m_random.below(1030); }

    void anyFrame()
    {
        Count::FrameOf facts;
        Ipv6Host const from = anyHost();
        Ipv6Host to = anyHost();
        facts.unicast = !m_random.oneIn(6);
        facts.tcp = !m_random.oneIn(3);
        facts.fromPort = anyPort();
        facts.toPort = anyPort();
        facts.tags = m_random.below(3);
        if (!facts.unicast)
            to.mac = multicastMac;
        Bytes frame = facts.tcp ? ipv6Frame(from, to, 6, tcpHeader(facts.fromPort, facts.toPort))
                                : ipv6Frame(from, to, 17, udpHeader(facts.fromPort, facts.toPort));
        for (unsigned int tag = 0; tag < facts.tags; ++tag)
            frame = tagged(frame, m_random.below(m_hosts));
        auto const length = static_cast<unsigned int>(frame.size()) + m_random.below(1400);
        Frame view(frame, length);
        {
            std::optional<MemoryRunsOut> soon;
            if (m_scarce && m_random.oneIn(2))
                soon.emplace(m_random.below(5));
            m_manager.analyzeFrame(&view);
        }
        m_count.take(facts, length + 4);
    }

    Clock m_clock;
    CKetrinStatManager m_manager;
    Count m_count;
    Random m_random;
    unsigned int m_hosts;
    bool m_scarce;
    std::list<Client> m_clients;
    unsigned int m_samples = 0;
};

CTableLimits all(unsigned int limit)
{
    CTableLimits limits;
    limits.ipv6Connections = limits.ipv6Protocols = limits.ipv6TcpPorts = limits.ipv6UdpPorts = limit;
    limits.vlans = limits.innerVlans = limits.neighbours = limit;
    return limits;
}

struct Setting
{
    char const * name;
    CTableLimits limits;
    unsigned int hosts;
};

class ExtendedLedgers : public testing::TestWithParam<Setting>
{
protected:
    void flood(bool scarce)
    {
        unsigned long long givenUp = 0;
        for (unsigned int seed = 1; seed <= 3; ++seed) {
            SCOPED_TRACE(testing::Message() << "seed " << seed);
            Flood flood(GetParam().limits, GetParam().hosts, seed, scarce);
            flood.run(5000);
            if (HasFatalFailure())
                return;
            EXPECT_GT(flood.samples(), 10U);
            givenUp += flood.givenUp();
        }
        EXPECT_EQ(givenUp > 0, scarce || GetParam().limits.ipv6Connections < 1000);
    }
};

TEST_P(ExtendedLedgers, AndRowsAreWhatWasCounted)
{
    flood(false);
}

TEST_P(ExtendedLedgers, AndRowsAreWhatWasCountedWhereMemoryRunsOut)
{
    flood(true);
}

INSTANTIATE_TEST_SUITE_P(Of, ExtendedLedgers,
                         testing::Values(Setting{"TinyTables", all(3), 12},
                                         Setting{"SmallTables", all(17), 30},
                                         Setting{"TheLibrarysOwnTables", {}, 25}),
                         [](auto const & instance) { return std::string(instance.param.name); });

TEST(ExtendedLedgersOfAClient, GroupsThatAreNotCalculatedHaveNone)
{
    CAgentStatistic first(all(2));
    CExtendedStatistic live(all(2));
    CStatSnapshot snapshot(all(2));
    snapshot.addOid("2.4");
    snapshot.initSnapshot(first, live);
    for (unsigned int number = 1; number <= 3; ++number) {
        put(live.vlans.outer, id(number), 1, 10);
        put(live.ipv6Protocols, id(number), 1, 10);
        put(live.ipv6Connections, CIPv6ConnectionStat::CKey{ipv6("::1"), ipv6("::" + std::to_string(number))},
            1, 10);
    }

    snapshot.nextSample(first, live);

    EXPECT_EQ(snapshot.getLedgers().vlans, (CLedger{2, 2, 20, 0, 0}));
    EXPECT_EQ(snapshot.getLedgers().ipv6Protocols, CLedger());
    EXPECT_EQ(snapshot.getLedgers().ipv6Connections, CLedger());
}

TEST(ExtendedLedgersOfAClient, AResetTreeTellsWhatItGaveUpSince)
{
    CAgentStatistic first(all(2));
    CExtendedStatistic live(all(2));
    CStatSnapshot snapshot(all(2));
    snapshot.tellRowsApart(true);
    snapshot.addOid("2");
    put(live.vlans.outer, id(1), 100, 1000);
    put(live.vlans.outer, id(2), 100, 1000);
    snapshot.initSnapshot(first, live);

    live.reset();
    EXPECT_TRUE(live.isBlank());
    put(live.vlans.outer, id(2), 4, 40);
    put(live.vlans.outer, id(3), 5, 50);
    snapshot.nextSample(first, live);

    EXPECT_EQ(snapshot.getLedgers().vlans, (CLedger{1, 4, 40, 0, 0}));
}

// The pair of zeros may be traffic, and is no row of the others then.
TEST(ExtendedLedgersOfAClient, PairOfZerosAndTheOthersAreTwoRows)
{
    Clock clock;
    CTableLimits const limits = all(4); // three rows
    CAgentStatistic first(limits);
    CExtendedStatistic live(limits);
    CStatSnapshot agent(limits);
    CStatSnapshot console(limits);
    agent.addOid("2.1");
    agent.initSnapshot(first, live);
    auto const count = [&](std::string const & address, unsigned int frames) {
        auto & row = *live.ipv6Connections.renewed({ipv6(address), ipv6(address)});
        row.framesTransmitted.add(frames);
        row.dataTransmitted.add(frames * 10LL);
    };
    auto const send = [&] {
        agent.nextSample(first, live);
        ASSERT_EQ(read(console, packedChanges(agent)), nothingRaised);
        console.setLedgers(agent.getLedgers());
    };
    count("::", 5);
    count("::1", 7);
    count("::2", 8);
    send();
    count("::", 1);
    count("::3", 9); // takes the id of ::1
    send();

    auto & table = extended(console).ipv6Connections;
    CIPv6ConnectionStat const * const zeros = table.find({ipv6("::"), ipv6("::")});
    CIPv6ConnectionStat const * const others = table.getSummaryStat();
    ASSERT_NE(zeros, nullptr);
    ASSERT_NE(others, nullptr);
    EXPECT_NE(zeros, others);
    EXPECT_EQ(zeros->framesTransmitted.get(), 6U);
    EXPECT_EQ(others->framesTransmitted.get(), 7U);
    EXPECT_EQ(others->getId(), limits.ipv6Connections);
    EXPECT_EQ(console.getGivenUp().ipv6Connections, CLedger()) << "all of it is shown";
}

} // namespace
