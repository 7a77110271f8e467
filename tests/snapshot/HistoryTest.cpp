#include "fuzz/UnpackCheck.h"

#include "tests/snapshot/Clock.h"
#include "tests/snapshot/Snapshots.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <set>

// Random histories: frames of more hosts, protocols and ports than the tables hold, several clients that
// sample them at random moments and send what they see to receivers of their own. What a client and its
// receiver hold is predicted by models that know the rules and none of the code.

using namespace KetStats;
using test::Random;

namespace {

// What samples must show: the live tree, less what stood at the same index under the same key at the start.
class SampleModel
{
public:
    explicit SampleModel(CAgentStatistic & live) { m_base->assign(live); }

    // The tree that a client of all groups must see now, but for the first two groups.
    CAgentStatistic & sample(CAgentStatistic & live)
    {
        m_expected->assign(live);
        reduceFrameTable(m_expected->frameTables.frameTypes, m_base->frameTables.frameTypes);
        reduceFrameTable(m_expected->frameTables.frameSizes, m_base->frameTables.frameSizes);
        reduce(m_expected->stations, m_base->stations);
        reduce(m_expected->protocols, m_base->protocols);
        reduce(m_expected->macConnections, m_base->macConnections);
        reduce(m_expected->ipConnections, m_base->ipConnections);
        return *m_expected;
    }

    unsigned int rowsReduced() const { return m_rowsReduced; }
    std::size_t rowsForgotten() const { return m_forgotten.size(); }

private:
    template <class Table>
    static void reduceFrameTable(Table & table, Table & base)
    {
        for (unsigned int index = 0; index < table.getChildrenCount(); ++index) {
            auto & row = static_cast<CFrameTypeOrSizeStat &>(*table.getChild(index));
            auto & baseRow = static_cast<CFrameTypeOrSizeStat &>(*base.getChild(index));
            row.frames = row.frames - baseRow.frames;
            row.data = row.data - baseRow.data;
        }
    }

    template <class Table>
    void reduce(Table & table, Table & base)
    {
        for (unsigned int id = 1; id <= table.getLimit(); ++id) {
            auto * const row = table.getChildById(id);
            auto * const baseRow = base.getChildById(id);
            if (!row || !baseRow || m_forgotten.count({&base, id}))
                continue;
            bool counted = baseRow->framesTransmitted != 0;
            if constexpr (requires { row->framesReceived; })
                counted = counted || baseRow->framesReceived != 0;
            if (!counted)
                continue;
            if (fuzz::keyText(row->rowKey()) != fuzz::keyText(baseRow->rowKey())) {
                m_forgotten.insert({&base, id});
                continue;
            }
            ++m_rowsReduced;
            row->framesTransmitted = row->framesTransmitted - baseRow->framesTransmitted;
            row->dataTransmitted = row->dataTransmitted - baseRow->dataTransmitted;
            if constexpr (requires { row->framesReceived; }) {
                row->framesReceived = row->framesReceived - baseRow->framesReceived;
                row->dataReceived = row->dataReceived - baseRow->dataReceived;
            }
        }
    }

    std::unique_ptr<CAgentStatistic> m_base = std::make_unique<CAgentStatistic>();
    std::unique_ptr<CAgentStatistic> m_expected = std::make_unique<CAgentStatistic>();
    std::set<std::pair<void *, unsigned int>> m_forgotten; // base rows whose index changed hands
    unsigned int m_rowsReduced = 0;
};

struct Pair
{
    std::string key;
    unsigned int frames = 0;
    long long data = 0;
};

// What a receiver must hold of "IP traffic" after each pack of its sender.
class TrafficModel
{
public:
    // The sender's rows arrive in their order.
    void read(CIPConnectionStat::Container & sender)
    {
        for (unsigned int id = sender.getOldestId(); id != 0; id = sender.getNextNewerId(id)) {
            auto * const row = sender.getChildById(id);
            std::string const key = fuzz::keyText(row->rowKey());
            auto const there = m_rows.find(id);
            if (there == m_rows.end() || there->second.key != key) {
                if (there != m_rows.end()) {
                    if (!m_summary)
                        m_summary.emplace();
                    m_summary->frames += there->second.frames;
                    m_summary->data += there->second.data;
                    m_ids.erase(there->second.key);
                    ++m_dropped;
                }
                if (auto const known = m_ids.find(key); known != m_ids.end()) {
                    m_rows.erase(known->second); // moved, and its earlier counts go
                    ++m_moved;
                }
            }
            m_ids[key] = id;
            m_rows[id] = {key, row->framesTransmitted, row->dataTransmitted};
        }
    }

    // Empty if the table holds just that.
    std::string differs(CIPConnectionStat::Container & table)
    {
        std::size_t const expected = m_rows.size() + (m_summary ? 1 : 0);
        if (table.size() != expected)
            return std::to_string(table.size()) + " rows, not " + std::to_string(expected);
        for (auto const & [id, pair] : m_rows) {
            auto * const row = table.getChildById(id);
            if (!row || fuzz::keyText(row->rowKey()) != pair.key || row->framesTransmitted != pair.frames ||
                row->dataTransmitted != pair.data)
                return "row " + std::to_string(id);
        }
        CIPConnectionStat * const summary = table.getSummaryStat();
        if ((summary != nullptr) != m_summary.has_value())
            return "a summary row, or none";
        if (summary && (summary->getId() != 1000 || summary->framesTransmitted != m_summary->frames ||
                        summary->dataTransmitted != m_summary->data))
            return "the summary row";
        return {};
    }

    unsigned int dropped() const { return m_dropped; }
    unsigned int moved() const { return m_moved; }

private:
    std::map<unsigned int, Pair> m_rows;
    std::map<std::string, unsigned int> m_ids;
    std::optional<Pair> m_summary;
    unsigned int m_dropped = 0;
    unsigned int m_moved = 0;
};

class Traffic
{
public:
    Traffic(CKetrinStatManager & manager, unsigned int seed) : m_manager(manager), m_random(seed) {}

    void frame()
    {
        test::Host const from = test::host(someOf(hosts));
        test::Host const to = test::host(someOf(hosts));
        switch (m_random.below(12)) {
        case 0:
            return count(test::arpRequest(from, to));
        case 1:
            return count(test::arpReply(from, to));
        case 2:
            return count(test::ethernet(to.mac.c_str(), from.mac.c_str(), 0x8800 + someOf(260)));
        case 3:
            return count(test::ipFrame(from, to, someOf(256)));
        case 4:
            return count(test::tagged(test::udpFrame(from, to, 1 + someOf(1024), 1 + someOf(1024)),
                                      m_random.below(200)));
        case 5:
            return count(test::arpRequest(from, test::everybody));
        case 6:
        case 7:
            return count(test::udpFrame(from, to, 1 + someOf(1024), 1 + someOf(3000)));
        default:
            return count(test::tcpFrame(from, to, 1 + someOf(1024), 1 + someOf(3000)));
        }
    }

private:
    static constexpr unsigned int hosts = 230;

    // Low numbers are frequent, high ones come and go.
    unsigned int someOf(unsigned int number)
    {
        unsigned int const bound = 1 + m_random.below(number);
        return m_random.oneIn(3) ? m_random.below(number) : m_random.below(bound);
    }

    void count(test::Bytes const & bytes)
    {
        test::Frame frame(bytes, 60 + m_random.below(1400));
        m_manager.analyzeFrame(&frame);
    }

    CKetrinStatManager & m_manager;
    Random m_random;
};

// A client and the receiver that it sends to.
class Client
{
public:
    Client(CKetrinStatManager & manager, std::vector<std::string> const & selection) : m_manager(manager)
    {
        for (std::string const & oid : selection)
            m_snapshot.addOid(oid);
        m_snapshot.initSnapshot(manager);
        m_samples.emplace(manager.getAgentStatistic());
    }

    void sample()
    {
        m_snapshot.nextSample(m_manager);
        m_expected = &m_samples->sample(m_manager.getAgentStatistic());
    }

    void send(bool onlyChanged)
    {
        test::Bytes const stream =
            onlyChanged ? test::packedChanges(m_snapshot) : test::packedFull(m_snapshot);
        CAgentStatistic & seen = test::visible(m_snapshot);
        CAgentStatistic & received = test::visible(m_receiver);
        m_traffic.read(seen.ipConnections);

        ASSERT_EQ(test::read(m_receiver, stream), test::nothingRaised);

        ASSERT_EQ(fuzz::brokenTree(seen), "");
        ASSERT_EQ(fuzz::brokenTree(received), "");
        ASSERT_EQ(fuzz::differenceOfGroups(received, seen), "");
        unsigned int others = 0;
        // Ports that a station lost when it went and came back are sent in any order.
        ASSERT_EQ(fuzz::differenceOfTables(received, seen, others, false), "") << "receiver and sender";
        ASSERT_EQ(others, m_traffic.dropped() != 0 ? 1U : 0U) << "only a summary row is there besides";
        ASSERT_EQ(m_traffic.differs(received.ipConnections), "") << "the receiver's traffic";
        if (m_expected) {
            others = 0;
            ASSERT_EQ(fuzz::differenceOfTables(seen, *m_expected, others, true), "") << "sender and live";
            ASSERT_EQ(others, 0U);
            ASSERT_EQ(seen.frameTables.collate(m_expected->frameTables), 0);
            ASSERT_EQ(fuzz::differenceOfTables(received, *m_expected, others, true), "") << "receiver, live";
        }
        if (onlyChanged) {
            ASSERT_EQ(test::packedChanges(m_snapshot), test::bytes("00 00")) << "all was sent";
        }
    }

    TrafficModel const & traffic() const { return m_traffic; }
    SampleModel const & samples() const { return *m_samples; }

private:
    CKetrinStatManager & m_manager;
    CStatSnapshot m_snapshot;
    CStatSnapshot m_receiver;
    std::optional<SampleModel> m_samples;
    CAgentStatistic * m_expected = nullptr;
    TrafficModel m_traffic;
};

class History : public testing::TestWithParam<unsigned int>
{};

TEST_P(History, ReceiversFollowTheirSendersAndSendersTheTraffic)
{
    test::Clock clock;
    CKetrinStatManager manager;
    for (int group = 1; group <= 9; ++group)
        manager.enableStatistic("1." + std::to_string(group));
    manager.beginAnalyzing(nullptr);
    Traffic traffic(manager, GetParam());
    Random random(GetParam() + 1000);

    std::vector<std::string> const whole{"1"};
    std::vector<std::string> const groups{"1.1", "1.2", "1.3", "1.4",  "1.5", "1.6",
                                          "1.7", "1.8", "1.9", "1.10", "1.11"};
    std::vector<std::unique_ptr<Client>> clients;
    std::size_t const starts[] = {0, 800, 2500};
    std::size_t moved = 0;
    std::size_t dropped = 0;
    std::size_t forgotten = 0;
    std::size_t reduced = 0;
    for (std::size_t frames = 0; frames < 7000; ++frames) {
        clock.advance(random.below(100) * test::Clock::millisecond / 10);
        if (clients.size() < 3 && frames == starts[clients.size()])
            clients.push_back(std::make_unique<Client>(manager, clients.size() % 2 ? groups : whole));
        traffic.frame();
        for (auto const & client : clients) {
            if (random.oneIn(250))
                client->sample();
            if (random.oneIn(700))
                client->send(!random.oneIn(6));
            ASSERT_FALSE(HasFatalFailure()) << "seed " << GetParam() << ", frame " << frames;
        }
    }
    for (auto const & client : clients) {
        moved += client->traffic().moved();
        dropped += client->traffic().dropped();
        forgotten += client->samples().rowsForgotten();
        reduced += client->samples().rowsReduced();
    }
    EXPECT_GT(dropped, 100U) << "the traffic is meant to overflow the tables";
    EXPECT_GT(moved, 0U);
    EXPECT_GT(forgotten, 0U);
    EXPECT_GT(reduced, 0U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, History, testing::Values(1U, 2U, 3U, 4U));

} // namespace
