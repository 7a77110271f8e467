#include "host/live/ReceivedTree.h"

#include "host/wire/SnapshotBytes.h"
#include "tests/snapshot/Snapshots.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ketmon;
using namespace KetStats;
using test::ipPair;
using test::put;

namespace {

CSelection all()
{
    return CSelection({}, false);
}

CWelcome welcomeWith(CTableLimits const & limits = {})
{
    CWelcome welcome;
    welcome.groups = 0xFFE;
    welcome.limits = limits;
    welcome.epoch = 100;
    return welcome;
}

// The agent's end: a live tree and a snapshot of it.
class Sender
{
public:
    explicit Sender(CTableLimits const & limits = {}) : live(limits), m_snapshot(limits)
    {
        m_snapshot.addOid("1");
        m_snapshot.initSnapshot(live);
        m_head.zero = 1000;
        m_head.moment = 1000;
    }

    CMessage message(MessageType type)
    {
        m_snapshot.nextSample(live);
        ++m_head.sequence;
        m_head.moment += 20000000;
        m_head.interval = 20000000;
        return {type, m_head.body({}, packed(m_snapshot, type == MessageType::delta))};
    }

    void skip() { ++m_head.sequence; }

    CAgentStatistic live;

private:
    CStatSnapshot m_snapshot;
    CSampleHead m_head;
};

TEST(ReceivedTree, HasTheTimeOfItsSamples)
{
    Sender sender;
    CReceivedTree received(welcomeWith(), all(), "here:1");
    EXPECT_TRUE(received.empty());

    received.take(sender.message(MessageType::full));
    EXPECT_EQ(received.figures().zero, 1000);
    EXPECT_EQ(received.figures().time, 20001000);
    EXPECT_EQ(received.figures().sample, 1U);
    EXPECT_FALSE(received.figures().intervalSeconds);

    received.take(sender.message(MessageType::delta));
    EXPECT_EQ(received.figures().time, 40001000);
    EXPECT_EQ(received.figures().sample, 2U);
    EXPECT_EQ(received.figures().intervalSeconds, 2.0);
}

TEST(ReceivedTree, TakesADeltaOnlyBehindItsSample)
{
    Sender sender;
    CReceivedTree received(welcomeWith(), all(), "here:1");
    EXPECT_THROW(received.take(sender.message(MessageType::delta)), CProtocolError);
    sender.skip();
    received.take(sender.message(MessageType::full));
    sender.skip();

    EXPECT_THROW(received.take(sender.message(MessageType::delta)), CProtocolError);
}

TEST(ReceivedTree, IsBuiltForTheLimitsOfTheAgent)
{
    CTableLimits limits;
    limits.stations = 5000;
    Sender sender(limits);
    CReceivedTree received(welcomeWith(limits), all(), "here:1");

    received.take(sender.message(MessageType::full));

    EXPECT_EQ(received.tree().limits(), limits);
    EXPECT_EQ(received.figures().table("stations")->limit, 5000U);
}

TEST(ReceivedTree, StartsAnewWithAFullSample)
{
    Sender sender;
    CReceivedTree received(welcomeWith(), all(), "here:1");
    put(sender.live.ipConnections, ipPair("10.0.0.1", "10.0.0.2"), 3, 300);
    received.take(sender.message(MessageType::full));
    ASSERT_EQ(received.tree().ipConnections.size(), 1U);
    Sender other;
    put(other.live.ipConnections, ipPair("10.0.0.3", "10.0.0.4"), 3, 300);

    received.take(other.message(MessageType::full));

    // Into the old one, the row of the first would have been added to one of the others.
    EXPECT_EQ(received.tree().ipConnections.size(), 1U);
    EXPECT_EQ(received.figures().table("ip_traffic")->rows.size(), 1U);
    EXPECT_EQ(received.figures().sample, 1U);
}

TEST(ReceivedTree, KnowsOnlyWhatIsSelectedAndCounted)
{
    CWelcome welcome = welcomeWith();
    welcome.groups[6] = false;
    Sender sender;
    CReceivedTree received(welcome, CSelection({"1.5", "1.6"}), "here:1");

    received.take(sender.message(MessageType::full));

    EXPECT_TRUE(received.figures().table("stations")->counted);
    EXPECT_FALSE(received.figures().table("protocols")->counted);
    EXPECT_FALSE(received.figures().table("ip_traffic")->counted);
}

TEST(ReceivedTree, RefusesDamage)
{
    Sender sender;
    CReceivedTree received(welcomeWith(), all(), "here:1");
    CMessage message = sender.message(MessageType::full);
    message.body.pop_back();

    EXPECT_THROW(received.take(message), CDamagedSnapshot);
}

} // namespace
