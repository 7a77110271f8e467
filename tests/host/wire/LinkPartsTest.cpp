#include "host/support/Failure.h"
#include "host/wire/Endpoint.h"
#include "host/wire/Fingerprint.h"
#include "host/wire/Selection.h"
#include "host/wire/SendQueue.h"
#include "host/wire/SnapshotBytes.h"

#include "ketstats/ketstats.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ketmon;
using namespace KetStats;

namespace {

std::vector<std::string> selected(std::vector<std::string> const & names)
{
    std::vector<std::string> texts;
    CSelection const selection(names);
    for (COid const & oid : selection.oids())
        texts.push_back(oid.toString());
    return texts;
}

using Names = std::vector<std::string>;

TEST(SendQueue, HoldsWhatWaitsInItsOrder)
{
    CSendQueue queue;
    queue.dropBehindFront();
    EXPECT_TRUE(queue.empty());

    queue.push(std::string(10, 'a'));
    queue.push(std::string(1000, 'b'));
    EXPECT_EQ(queue.bytes(), 1010U);
    queue.pop();
    EXPECT_EQ(queue.front(), std::string(1000, 'b'));
    queue.push("c");
    queue.push("d");
    EXPECT_EQ(queue.bytes(), 1002U);
    queue.dropBehindFront();
    EXPECT_EQ(queue.bytes(), 1000U);
    queue.pop();
    EXPECT_TRUE(queue.empty());
    EXPECT_EQ(queue.bytes(), 0U);
}

TEST(Endpoint, IsReadAndWritten)
{
    for (std::string const text : {"127.0.0.1:0", "localhost:65535", "[::1]:80"})
        EXPECT_EQ(CEndpoint::parsed(text).toString(), text);
    EXPECT_EQ(CEndpoint::parsed("10.0.0.1").port, usualPort);
    EXPECT_EQ(CEndpoint::parsed("[::1]").toString(), "[::1]:" + std::to_string(usualPort));
    EXPECT_EQ(CEndpoint::parsed(usualEndpoint).port, usualPort);
}

TEST(Endpoint, RefusesWhatIsNone)
{
    for (std::string const text : {"", ":", ":80", "host:", "host:65536", "host:-1", "host:8x", "::1",
                                   "::1:80", "[::1", "[::1]80", "[]:80"})
        EXPECT_THROW(static_cast<void>(CEndpoint::parsed(text)), CFailure) << text;
}

TEST(Selection, IsTheSameInWhateverOrder)
{
    EXPECT_EQ(selected({}), (Names{"1", "2"}));
    EXPECT_EQ(selected({"2.4", "2.1"}), (Names{"1.1", "2.1", "2.4"}));
    EXPECT_EQ(selected({"1.5", "1"}), Names{"1"});
    EXPECT_EQ(selected({"1.5"}), (Names{"1.1", "1.5"}));
    EXPECT_EQ(selected({"1.4.1", "1.4"}), (Names{"1.1", "1.4"}));
    EXPECT_EQ(selected({"1.4", "1.4.1", "1.4"}), (Names{"1.1", "1.4"}));
    EXPECT_EQ(selected({"1.4.2", "1.4.1", "1.1.3"}), (Names{"1.1", "1.4.1", "1.4.2"}));
}

TEST(Selection, RefusesWhatCanNotBeSelected)
{
    // No identifiers, ones that would wrap, ones that lead nowhere, and rows.
    for (std::string const name :
         {"",  ".",   "1.",    "1..5", "x",    "1.5x",  "01.5",  "65537",   "1.65541", "0",
          "3", "2.8", "2.1.1", "1.0",  "1.12", "1.1.7", "1.5.1", "1.8.1.2", "-1",      " 1"})
        EXPECT_THROW(selected({name}), CBadSelection) << name;
    EXPECT_THROW(selected({std::string(100000, '1')}), CBadSelection);
    EXPECT_THROW(CSelection({"2.1"}, false), CBadSelection) << "the other side knows the first tree alone";
}

TEST(Selection, OfPartOfAGroupIsSampled)
{
    CAgentStatistic live;
    live.frameTables.frameTypes.unicast.frames = 7U;
    live.frameTables.frameSizes.size64.frames = 7U;
    CStatSnapshot sender;
    CSelection({"1.4.1"}).select(sender);
    CAgentStatistic const nothing;
    sender.initSnapshot(nothing);
    sender.nextSample(live);
    CStatSnapshot receiver;

    unpack(receiver, packed(sender, false));

    auto const & tree = dynamic_cast<CAgentStatistic const &>(*receiver.getStat("1"));
    EXPECT_EQ(tree.frameTables.frameTypes.unicast.frames.get(), 7U);
    EXPECT_EQ(tree.frameTables.frameSizes.size64.frames.get(), 0U);
}

// Whoever changes one parts this ketmon from all of before: the first locks them out, the second hides its tree from them.
TEST(Fingerprint, OfEachTreeStaysWhatItIs)
{
    EXPECT_EQ(schemaFingerprint(), 0x9BDA6C20C84EDB25U);
    EXPECT_EQ(extendedFingerprint(), 0xEB3B249906FE20C0U);
}

TEST(Fingerprint, TellsSchemasApart)
{
    static CIntegerStatDescription<unsigned int> const frames(1129, 2100);
    static CIntegerStatDescription<long long> const wider(1129, 2100);
    static CStatDescription const * const one[] = {&frames, nullptr};
    static CStatDescription const * const two[] = {&frames, &frames, nullptr};
    static CStatDescription const * const other[] = {&wider, nullptr};
    CStructStatDescription const groups[] = {{1122, one}, {1122, two}, {1122, other}, {1120, one}};

    std::vector<std::uint64_t> values{schemaFingerprint()};
    for (CStructStatDescription const & group : groups)
        values.push_back(fingerprint(group));

    std::sort(values.begin(), values.end());
    EXPECT_EQ(std::adjacent_find(values.begin(), values.end()), values.end());
    EXPECT_EQ(fingerprint(groups[0]), fingerprint(groups[0]));
    EXPECT_EQ(schemaFingerprint(), fingerprint(CAgentStatistic::groupDescription()));
}

TEST(SnapshotBytes, MustBeExactlyOneSnapshot)
{
    CAgentStatistic live;
    live.globalStatistics.transmittedFrames = 7U;
    CStatSnapshot sender;
    sender.addOid("1");
    sender.initSnapshot(live);
    sender.nextSample(live);
    std::string const bytes = packed(sender, false);
    CStatSnapshot receiver;

    EXPECT_NO_THROW(unpack(receiver, bytes));
    EXPECT_NO_THROW(unpack(receiver, packed(sender, true)));
    EXPECT_THROW(unpack(receiver, bytes + std::string(2, '\0')), CDamagedSnapshot);
    for (std::size_t length = 0; length < bytes.size(); ++length)
        EXPECT_THROW(unpack(receiver, bytes.substr(0, length)), CDamagedSnapshot) << length;
}

} // namespace
