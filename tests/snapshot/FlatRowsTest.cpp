#include "tests/snapshot/Snapshots.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <set>

// A snapshot holds rows as plain records. What it shows and packs must be what trees of nodes would: here three of
// them, as a snapshot is explained, against the real one, over random changes of the live tree.

using namespace KetStats;
using test::Bytes;
using test::Random;

namespace {

constexpr unsigned short tableGroups[] = {5, 6, 7, 8, 9, 10, 11};

CTableLimits smallLimits()
{
    CTableLimits limits;
    limits.stations = limits.protocols = limits.macConnections = 7;
    limits.ipConnections = limits.tcpPorts = 9;
    limits.arpTable = limits.ipSubprotocols = limits.udpPorts = 5;
    limits.stationTcpPorts = 4;
    limits.stationUdpPorts = 3;
    return limits;
}

CBaseStat & groupOf(CAgentStatistic & tree, unsigned short group)
{
    return *tree.getChild(group - 1U);
}

class NodeSnapshot
{
public:
    NodeSnapshot(CTableLimits const & limits, bool apart)
        : m_visible(limits),
          m_sample(limits),
          m_base(limits),
          m_apart(apart)
    {
        m_visible.stations.tellRowsApart(apart);
        m_sample.stations.tellRowsApart(apart);
    }

    void init(CAgentStatistic & live)
    {
        m_base.assign(live);
        m_forgotten.clear();
    }

    void next(CAgentStatistic & live)
    {
        sample(m_sample.stations, m_base.stations, live.stations);
        sample(m_sample.protocols, m_base.protocols, live.protocols);
        sample(m_sample.macConnections, m_base.macConnections, live.macConnections);
        sample(m_sample.ipConnections, m_base.ipConnections, live.ipConnections);
        m_sample.arpTable.assign(live.arpTable);
        m_sample.ipSubprotocols.compareAssign(live.ipSubprotocols);
        m_sample.ipPorts.compareAssign(live.ipPorts);
    }

    Bytes pack(bool onlyChanged)
    {
        ktools::CMemoryBuffer buffer;
        auto const write = [&](unsigned short word) { buffer.Write(&word, sizeof word); };
        std::vector<unsigned short> sent;
        if (!onlyChanged)
            m_visible.assign(m_sample);
        for (unsigned short const group : tableGroups)
            if (!onlyChanged || groupOf(m_visible, group).compareAssign(groupOf(m_sample, group)))
                sent.push_back(group);
        if (!sent.empty())
            write(1);
        for (unsigned short const group : sent) {
            write(group);
            groupOf(m_visible, group).packValue(buffer, onlyChanged);
        }
        if (!sent.empty())
            write(0);
        write(0);
        return test::contents(buffer);
    }

    CAgentStatistic & visible() { return m_visible; }
    unsigned int reduced() const { return m_reduced; }
    std::size_t forgotten() const { return m_forgotten.size(); }

private:
    template <class Table>
    void sample(Table & sample, Table & base, Table const & live)
    {
        sample.compareAssign(live);
        for (auto & row : sample) {
            unsigned int const id = row.getId();
            auto * const baseRow = base.getChildById(id);
            if (!baseRow || m_forgotten.count(baseRow))
                continue;
            bool counted = baseRow->framesTransmitted != 0;
            if constexpr (requires { row.framesReceived; })
                counted = counted || baseRow->framesReceived != 0;
            if (!counted || (m_apart && !live.getChildById(id)))
                continue;
            if (test::keyBytes(baseRow->rowKey()) != test::keyBytes(row.rowKey()) ||
                (m_apart && live.birthOf(id) != base.birthOf(id))) {
                m_forgotten.insert(baseRow);
                continue;
            }
            ++m_reduced;
            auto const less = [](auto & counter, auto const & taken) { counter = counter - taken; };
            less(row.framesTransmitted, baseRow->framesTransmitted);
            less(row.dataTransmitted, baseRow->dataTransmitted);
            if constexpr (requires { row.framesReceived; }) {
                less(row.framesReceived, baseRow->framesReceived);
                less(row.dataReceived, baseRow->dataReceived);
            }
        }
    }

    CAgentStatistic m_visible;
    CAgentStatistic m_sample;
    CAgentStatistic m_base;
    bool m_apart;
    std::set<void const *> m_forgotten;
    unsigned int m_reduced = 0;
};

// Rows that come, count, go and come back. Some get into hands that may change them in place if they are `lent`.
class Changes
{
public:
    Changes(CAgentStatistic & live, unsigned int seed, bool lent) : m_live(live), m_random(seed), m_lent(lent)
    {}

    void change()
    {
        switch (m_random.below(9)) {
        case 0:
            return changeStation();
        case 1:
            return change(m_live.protocols, 12);
        case 2:
            return change(m_live.macConnections, 12);
        case 3:
            if (m_random.oneIn(40))
                m_live.ipConnections.createSummaryStat({});
            return change(m_live.ipConnections, 14);
        case 4:
            return changeBindings();
        case 5:
            return change(m_live.ipSubprotocols, 8);
        case 6:
            return change(m_live.ipPorts.tcpPorts, 14);
        case 7:
            return change(m_live.ipPorts.udpPorts, 8);
        default:
            if (m_random.oneIn(60))
                m_live.stations.reset();
            else if (m_random.oneIn(60))
                m_live.reset();
        }
    }

private:
    template <class Key>
    Key key(unsigned int count)
    {
        return test::keyNumber<Key>(m_random.below(count));
    }

    template <class Table>
    void change(Table & table, unsigned int keys)
    {
        using Row = std::remove_cvref_t<decltype(*table.begin())>;
        if (m_random.oneIn(12))
            return table.deleteOldest();
        auto const which = key<test::KeyOf<Row>>(keys);
        CKeyBits<test::KeyOf<Row>> const bits(which);
        bool const renews = !m_random.oneIn(3);
        auto & row = m_lent && renews ? *table.renewed(which)
                     : m_lent         ? *table[which]
                     : renews         ? *table.countedRenewed(bits)
                                      : *table.counted(bits);
        if (m_random.oneIn(5))
            return;
        row.framesTransmitted.add(m_random.below(3));
        row.dataTransmitted.add(m_random.below(1000));
        if constexpr (requires { row.percentage; })
            if (m_random.oneIn(30))
                row.percentage = percentVal(m_random.below(100));
        if constexpr (requires { row.averageFrameSize; })
            if (m_random.oneIn(30))
                row.averageFrameSize = m_random.below(100);
    }

    void changeBindings()
    {
        auto const address = key<CIPAddress>(8);
        auto const mac = key<CMACAddrPacked>(8);
        CARPStat * const row = m_lent ? m_live.arpTable.createIfNew(address, mac) : nullptr;
        if (row && m_random.oneIn(4))
            row->macAddress = key<CMACAddrPacked>(8);
        if (m_lent ? !row : !m_live.arpTable.learn(address, mac))
            m_live.arpTable.deleteOldest();
    }

    void changeStation()
    {
        change(m_live.stations, 10);
        auto const address = key<CMACAddrPacked>(10);
        auto * const station =
            m_lent ? m_live.stations.renewed(address) : m_live.stations.countedRenewed(address);
        station->framesReceived.add(1);
        station->dataReceived.add(64);
        if (m_random.oneIn(2))
            change(station->tcpPorts, 6);
        if (m_random.oneIn(2))
            change(station->udpPorts, 4);
        if (m_random.oneIn(8))
            station->vlanId = std::to_string(m_random.below(200));
    }

    CAgentStatistic & m_live;
    Random m_random;
    bool m_lent;
};

// What there is to see of a node and all below it: identifiers, values and flags.
void listed(CBaseStat & node, std::vector<std::string> & lines)
{
    ktools::CMemoryBuffer value;
    node.packValue(value, false);
    std::string line = node.getOid().toString() + (node.isChanged() ? " changed " : " same ");
    line += testing::PrintToString(test::contents(value));
    lines.push_back(line);
    if (auto * const table = dynamic_cast<CBaseHashedContainerStat *>(&node)) {
        for (unsigned int id = table->getOldestId(); id != 0; id = table->getNextNewerId(id))
            listed(*table->rowById(id), lines);
        return;
    }
    for (unsigned int index = 0; index < node.getChildrenCount(); ++index)
        listed(*node.getChild(index), lines);
}

std::vector<std::string> listed(CAgentStatistic & tree)
{
    std::vector<std::string> lines;
    for (unsigned short const group : tableGroups)
        listed(groupOf(tree, group), lines);
    return lines;
}

template <class Table>
std::vector<unsigned long long> births(Table & table)
{
    std::vector<unsigned long long> all;
    for (auto const & row : table)
        all.push_back(table.birthOf(row.getId()));
    return all;
}

class FlatRows : public testing::TestWithParam<unsigned int>
{};

TEST_P(FlatRows, ShowAndPackWhatTreesOfNodesWould)
{
    unsigned int const seed = GetParam();
    bool const apart = seed % 2 != 0;
    Random random(seed + 1000);
    CTableLimits const limits = smallLimits();
    CAgentStatistic live(limits);
    Changes changes(live, seed, seed % 4 < 2);
    NodeSnapshot model(limits, apart);
    CStatSnapshot flat(limits);
    CStatSnapshot unfolded(limits);
    for (CStatSnapshot * const snapshot : {&flat, &unfolded}) {
        snapshot->tellRowsApart(apart);
        for (unsigned short const group : tableGroups)
            snapshot->addOid("1." + std::to_string(group));
    }
    test::visible(unfolded);
    for (unsigned int i = 0; i < 60; ++i)
        changes.change();
    model.init(live);
    flat.initSnapshot(live);
    unfolded.initSnapshot(live);

    for (unsigned int step = 0; step < 3000; ++step) {
        changes.change();
        if (random.oneIn(6)) {
            model.next(live);
            flat.nextSample(live);
            unfolded.nextSample(live);
        }
        if (random.oneIn(200)) {
            model.init(live);
            flat.initSnapshot(live);
            unfolded.initSnapshot(live);
        }
        if (!random.oneIn(8))
            continue;
        bool const onlyChanged = !random.oneIn(10);
        Bytes const expected = model.pack(onlyChanged);
        ASSERT_EQ(onlyChanged ? test::packedChanges(flat) : test::packedFull(flat), expected)
            << "seed " << seed << ", step " << step;
        ASSERT_EQ(onlyChanged ? test::packedChanges(unfolded) : test::packedFull(unfolded), expected)
            << "seed " << seed << ", step " << step;
    }

    EXPECT_EQ(listed(test::visible(flat)), listed(model.visible()));
    EXPECT_EQ(listed(test::visible(unfolded)), listed(model.visible()));
    EXPECT_EQ(births(test::visible(flat).stations), births(model.visible().stations));
    EXPECT_GT(model.reduced(), 0U);
    EXPECT_TRUE(test::soundFromOutside(test::visible(flat).ipConnections));
}

INSTANTIATE_TEST_SUITE_P(Seeds, FlatRows, testing::Range(1U, 41U));

TEST(FlatRows, BecomeNodesWhenTheyAreAskedForAndKeepTheirFlags)
{
    test::Live live;
    test::fillEveryGroup(*live);
    CStatSnapshot snapshot;
    snapshot.addOid("1");
    snapshot.initSnapshot(*live);
    snapshot.nextSample(*live);
    test::packedChanges(snapshot);
    live->stations[test::mac(test::macA)]->framesTransmitted.add(2);
    snapshot.nextSample(*live);
    test::packedFull(snapshot);
    test::packedChanges(snapshot);
    live->stations[test::mac(test::macA)]->framesTransmitted.add(3);
    snapshot.nextSample(*live);

    EXPECT_EQ(test::visible(snapshot).stations.getOldest()->framesTransmitted, 2U) << "not packed yet";
    EXPECT_FALSE(test::visible(snapshot).stations.isChanged());
    test::packedFull(snapshot);

    EXPECT_EQ(test::visible(snapshot).stations.getOldest()->framesTransmitted, 5U);
    EXPECT_TRUE(test::visible(snapshot).stations.isChanged());
}

TEST(HoldSelectedOnly, TakesTheZeroPointOfWhatIsSelected)
{
    test::Live live;
    test::fillEveryGroup(*live);
    CStatSnapshot snapshot;
    snapshot.addOid("1.5");
    snapshot.holdSelectedOnly(true);
    snapshot.initSnapshot(*live);
    snapshot.addOid("1.6");

    snapshot.nextSample(*live);
    test::packedFull(snapshot);

    EXPECT_EQ(test::visible(snapshot).stations.getOldest()->framesTransmitted, 0U);
    EXPECT_EQ(test::visible(snapshot).protocols.getOldest()->framesTransmitted, 3U)
        << "selected later: what the live tree holds";

    snapshot.initSnapshot(*live);
    snapshot.nextSample(*live);
    test::packedFull(snapshot);

    EXPECT_EQ(test::visible(snapshot).protocols.getOldest()->framesTransmitted, 0U);
}

} // namespace
