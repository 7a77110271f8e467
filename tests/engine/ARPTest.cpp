#include "ketstats/engine/StatManager.h"

#include "tests/support/Frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <future>
#include <stdexcept>
#include <vector>

using namespace KetStats;
using platform::CNeighbour;
using test::broadcastMac;
using test::Bytes;
using test::bytes;
using test::Frame;
using test::Host;
using test::host;
using test::hostA;
using test::hostB;
using test::hostC;
using test::ip;
using test::mac;
using test::operator+;

namespace {

class ARP : public testing::Test
{
protected:
    ARP() { manager.beginAnalyzing(nullptr); }

    void count(Bytes const & data)
    {
        Frame frame(data);
        manager.analyzeFrame(&frame);
    }
    // Counts only the first bytes of the frame.
    void countCut(Bytes const & data, std::size_t captured)
    {
        count(Bytes(data.data(), data.data() + captured));
    }

    auto & table() { return manager.getAgentStatistic().arpTable; }
    // The MAC address known for an IP address; "unknown" if there is none.
    std::string known(std::string const & address)
    {
        CARPStat const * const row = table().find(ip(address));
        return row ? hexString(row->macAddress.get().bytes.data(), 6) : "unknown";
    }

    CKetrinStatManager manager;
};

using ARPAnalysis = ARP;

TEST_F(ARPAnalysis, RequestTeachesItsSender)
{
    count(test::arpRequest(hostA, hostB));

    ASSERT_EQ(table().size(), 1U);
    EXPECT_EQ(known(hostA.ip), hostA.mac);
    EXPECT_EQ(table().getOldest()->getId(), 1);
    EXPECT_EQ(table().getOldest()->ipAddress.get(), ip(hostA.ip));
}

TEST_F(ARPAnalysis, ReplyTeachesBothEnds)
{
    count(test::arpReply(hostA, hostB));

    ASSERT_EQ(table().size(), 2U);
    EXPECT_EQ(known(hostA.ip), hostA.mac);
    EXPECT_EQ(known(hostB.ip), hostB.mac);
    EXPECT_EQ(table().getOldest()->ipAddress.get(), ip(hostA.ip)) << "the sender first";

    count(test::arpReply(hostC, hostB));
    EXPECT_EQ(table().size(), 3U);
}

TEST_F(ARPAnalysis, PacketIsBelievedAndNotTheFrameAroundIt)
{
    Bytes data = test::arpRequest(hostA, hostB);
    data[11] = 0x77; // the frame's source

    count(data);

    EXPECT_EQ(known(hostA.ip), hostA.mac);
}

TEST_F(ARPAnalysis, ProbeTeachesNothing)
{
    count(test::arpRequest({hostA.mac, "0.0.0.0"}, hostB));
    EXPECT_EQ(table().size(), 0U);
}

TEST_F(ARPAnalysis, ReplyWithoutASenderStillTeachesItsTarget)
{
    count(test::arpReply({hostA.mac, "0.0.0.0"}, hostB));

    ASSERT_EQ(table().size(), 1U);
    EXPECT_EQ(known(hostB.ip), hostB.mac);
}

// Only the sender of address 0 is left out.
TEST_F(ARPAnalysis, ReplyToTheAddressZeroTeachesIt)
{
    count(test::arpReply(hostA, {hostB.mac, "0.0.0.0"}));

    ASSERT_EQ(table().size(), 2U);
    EXPECT_EQ(known("0.0.0.0"), hostB.mac);
}

TEST_F(ARPAnalysis, OtherOpcodesTeachNothing)
{
    for (unsigned int const opcode : {0U, 3U, 4U, 8U, 0x0100U, 0x0200U, 0x0101U, 0x0102U, 0xFFFFU})
        count(test::arpFrame(opcode, hostA, hostB, broadcastMac));
    EXPECT_EQ(table().size(), 0U);
}

TEST_F(ARPAnalysis, OtherProtocolTypesTeachNothing)
{
    for (unsigned int const type : {0x0806U, 0x0000U, 0x0801U, 0x0008U, 0x86DDU}) {
        Bytes data = test::arpReply(hostA, hostB);
        data[16] = static_cast<unsigned char>(type >> 8);
        data[17] = static_cast<unsigned char>(type);
        count(data);
    }
    EXPECT_EQ(table().size(), 0U);
}

TEST_F(ARPAnalysis, HardwareTypeIsNotLookedAt)
{
    Bytes data = test::arpRequest(hostA, hostB);
    data[15] = 0x20;
    count(data);
    EXPECT_EQ(known(hostA.ip), hostA.mac);
}

TEST_F(ARPAnalysis, KnownAddressStaysAsItIs)
{
    count(test::arpRequest(hostA, hostC));
    count(test::arpRequest(hostB, hostC));
    manager.getAgentStatistic().resetChanged();

    count(test::arpRequest({hostC.mac, hostA.ip}, hostB));
    count(test::arpReply({hostC.mac, hostA.ip}, {hostC.mac, hostB.ip}));

    ASSERT_EQ(table().size(), 2U);
    EXPECT_EQ(known(hostA.ip), hostA.mac);
    EXPECT_EQ(known(hostB.ip), hostB.mac);
    EXPECT_EQ(table().getOldest()->ipAddress.get(), ip(hostA.ip)) << "and isn't renewed";
    EXPECT_FALSE(table().getOldest()->macAddress.isChanged());
    EXPECT_FALSE(table().getOldest()->isChanged());
}

TEST_F(ARPAnalysis, RunsWhateverTheFlagsSay)
{
    count(test::arpRequest(hostA, hostC));
    ASSERT_EQ(table().size(), 1U) << "all off";

    for (int group = 1; group <= 9; ++group)
        manager.enableStatistic(COid("1." + std::to_string(group)));
    count(test::arpRequest(hostB, hostC));
    ASSERT_EQ(table().size(), 2U) << "all on";

    manager.disableStatistic(COid("1.9"));
    count(test::arpReply(hostC, hostA));
    EXPECT_EQ(table().size(), 3U) << "its own off, and a unicast past the IP step";
}

TEST_F(ARPAnalysis, WorksBehindTagsAndSnap)
{
    count(test::tagged(test::arpRequest(hostA, hostC), 42));
    count(test::snap(test::arpRequest(hostB, hostC)));

    EXPECT_EQ(known(hostA.ip), hostA.mac);
    EXPECT_EQ(known(hostB.ip), hostB.mac);
}

TEST_F(ARPAnalysis, IPFramesTeachNothing)
{
    for (bool const enabled : {false, true}) {
        if (enabled)
            manager.enableStatistic(COid("1.8"));
        count(test::udpFrame(hostA, hostB, 67, 68));
        count(test::udpFrame(hostA, test::everybody, 67, 68));
    }
    EXPECT_EQ(table().size(), 0U);
}

TEST_F(ARPAnalysis, FullTableLosesTheRowCreatedLongestAgo)
{
    for (unsigned int i = 0; i < 199; ++i)
        count(test::arpRequest(host(i), hostC));
    ASSERT_EQ(table().size(), 199U);
    count(test::arpRequest(host(0), hostC)); // seen again, and still the oldest

    count(test::arpRequest(host(500), hostC));

    ASSERT_EQ(table().size(), 199U);
    EXPECT_EQ(known(host(0).ip), "unknown");
    EXPECT_EQ(known(host(1).ip), host(1).mac);
    ASSERT_EQ(known(host(500).ip), host(500).mac);
    EXPECT_EQ(table().getNewest()->getId(), 1) << "the id is used again";

    count(test::arpReply(host(501), host(502)));
    ASSERT_EQ(table().size(), 199U);
    EXPECT_EQ(known(host(1).ip), "unknown");
    EXPECT_EQ(known(host(2).ip), "unknown");
    EXPECT_EQ(known(host(3).ip), host(3).mac);
    ASSERT_EQ(known(host(501).ip), host(501).mac);
    ASSERT_EQ(known(host(502).ip), host(502).mac);
    EXPECT_EQ(table().find(ip(host(501).ip))->getId(), 2);
    EXPECT_EQ(table().find(ip(host(502).ip))->getId(), 3);
}

TEST_F(ARPAnalysis, FloodKeepsTheLast199)
{
    for (unsigned int i = 0; i < 3000; ++i)
        count(test::arpRequest(host(i), hostC));

    ASSERT_EQ(table().size(), 199U);
    for (unsigned int i = 0; i < 3000; ++i)
        ASSERT_EQ(known(host(i).ip), i < 3000 - 199 ? "unknown" : host(i).mac) << i;
}

// The lengths of the addresses decide where the addresses stand; six bytes are a MAC address all the same.
TEST_F(ARPAnalysis, LengthsOfTheAddressesAreHonoured)
{
    count(test::ethernet(broadcastMac, hostA.mac.c_str(), 0x0806) + bytes("00 01 08 00 08 05 00 02"
                                                                          "a1 a2 a3 a4 a5 a6 a7 a8"
                                                                          "0a 01 01 01 ee"
                                                                          "b1 b2 b3 b4 b5 b6 b7 b8"
                                                                          "0a 02 02 02 ee"));

    ASSERT_EQ(table().size(), 2U);
    EXPECT_EQ(known("10.1.1.1"), "A1-A2-A3-A4-A5-A6");
    EXPECT_EQ(known("10.2.2.2"), "B1-B2-B3-B4-B5-B6");
}

TEST_F(ARPAnalysis, ShortHardwareAddressesOverlapWhatFollows)
{
    count(test::ethernet(broadcastMac, hostA.mac.c_str(), 0x0806) +
          bytes("00 01 08 00 00 00 00 02  0a 01 01 01 c1 c2"));

    ASSERT_EQ(table().size(), 1U) << "both ends are the same bytes";
    EXPECT_EQ(known("10.1.1.1"), "0A-01-01-01-C1-C2");
}

TEST_F(ARPAnalysis, LengthsThatLeadOutOfTheFrameReadZeros)
{
    Bytes data = test::arpReply(hostA, hostB);
    data[18] = 255;
    data[19] = 255;
    count(data); // no sender address, and a target of address 0 at address 0

    ASSERT_EQ(table().size(), 1U);
    EXPECT_EQ(known("0.0.0.0"), "00-00-00-00-00-00");
}

TEST_F(ARPAnalysis, CutFramesTeachWhatIsThere)
{
    Bytes const reply = test::arpReply({"A1-A2-A3-A4-A5-A6", "10.1.2.3"}, {"B1-B2-B3-B4-B5-B6", "10.4.5.6"});
    for (std::size_t captured = 0; captured <= reply.size(); ++captured) {
        manager.reset();
        countCut(reply, captured);

        auto const rest = [&](std::size_t at, Bytes whole) {
            for (std::size_t i = 0; i < whole.size(); ++i)
                if (at + i >= captured)
                    whole[i] = 0;
            return whole;
        };
        if (captured < 22) { // the opcode isn't there
            ASSERT_EQ(table().size(), 0U) << captured;
            continue;
        }
        Bytes const senderIP = rest(28, {10, 1, 2, 3});
        Bytes const targetIP = rest(38, {10, 4, 5, 6});
        unsigned int const expected = (senderIP[0] != 0 ? 1U : 0U) + 1U;
        ASSERT_EQ(table().size(), expected) << captured;
        CIPAddress address;
        std::memcpy(&address, targetIP.data(), 4);
        CARPStat const * const target = table().find(address);
        ASSERT_NE(target, nullptr) << captured;
        Bytes const targetMAC = rest(32, {0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6});
        EXPECT_EQ(Bytes(target->macAddress.get().bytes.begin(), target->macAddress.get().bytes.end()),
                  targetMAC)
            << captured;
    }
}

// The tables that a test puts in the place of the system's, whose readers take no context.
std::vector<CNeighbour> neighbours;
bool readNeighbours(std::vector<CNeighbour> & rows)
{
    rows = neighbours;
    return true;
}

CNeighbour neighbour(Host const & of, unsigned int type = 3)
{
    CNeighbour row;
    row.address = ip(of.ip);
    row.hardwareAddress = mac(of.mac).bytes;
    row.type = type;
    return row;
}

class ARPImport : public ARP
{
protected:
    ARPImport() { neighbours.clear(); }

    void fill(unsigned int rows)
    {
        for (unsigned int i = 0; i < rows; ++i)
            count(test::arpRequest(host(10000 + i), hostC));
        ASSERT_EQ(table().size(), rows);
    }
    bool import() { return manager.InsertARPTable(&readNeighbours); }
};

TEST_F(ARPImport, TakesTheRowsInTheirOrder)
{
    neighbours = {neighbour(hostB), neighbour(hostA, 4)};

    EXPECT_TRUE(import());

    ASSERT_EQ(table().size(), 2U);
    EXPECT_EQ(known(hostA.ip), hostA.mac);
    EXPECT_EQ(known(hostB.ip), hostB.mac);
    EXPECT_EQ(table().getOldest()->ipAddress.get(), ip(hostB.ip));
    EXPECT_EQ(table().getOldest()->getId(), 1);
    EXPECT_EQ(table().getNewest()->getId(), 2);
}

TEST_F(ARPImport, SkipsInvalidRowsAndCountsThem)
{
    neighbours = {neighbour(hostA, 2), neighbour(hostB, 1), neighbour(hostC, 2)};
    EXPECT_TRUE(import());
    ASSERT_EQ(table().size(), 1U);
    EXPECT_EQ(known(hostB.ip), hostB.mac);

    manager.reset();
    neighbours = {neighbour(hostA, 2)};
    EXPECT_TRUE(import()) << "a row was handled";
    EXPECT_EQ(table().size(), 0U);
}

TEST_F(ARPImport, EmptyTableIsAFailure)
{
    EXPECT_FALSE(import());
    EXPECT_EQ(table().size(), 0U);
}

TEST_F(ARPImport, TableThatCannotBeReadChangesNothing)
{
    count(test::arpRequest(hostA, hostC));

    EXPECT_FALSE(manager.InsertARPTable([](std::vector<CNeighbour> & rows) {
        rows.assign(5, neighbour(hostB));
        return false;
    }));

    ASSERT_EQ(table().size(), 1U);
    EXPECT_EQ(known(hostB.ip), "unknown");
}

TEST_F(ARPImport, StopsWhenTheTableIsFull)
{
    for (unsigned int i = 0; i < 300; ++i)
        neighbours.push_back(neighbour(host(i)));

    EXPECT_TRUE(import());

    ASSERT_EQ(table().size(), 199U);
    for (unsigned int i = 0; i < 300; ++i)
        EXPECT_EQ(known(host(i).ip), i < 199 ? host(i).mac : "unknown") << i;
}

TEST_F(ARPImport, NeverDeletesARow)
{
    fill(197);
    for (unsigned int i = 0; i < 10; ++i)
        neighbours.push_back(neighbour(host(i)));

    EXPECT_TRUE(import());

    ASSERT_EQ(table().size(), 199U);
    EXPECT_EQ(known(host(10000).ip), host(10000).mac);
    EXPECT_EQ(known(host(1).ip), host(1).mac);
    EXPECT_EQ(known(host(2).ip), "unknown");
}

TEST_F(ARPImport, FirstRowThatFindsNoRoomIsAFailure)
{
    fill(199);
    neighbours = {neighbour(host(0)), neighbour(host(10000))};
    EXPECT_FALSE(import());

    neighbours = {neighbour(host(0), 2), neighbour(host(1))};
    EXPECT_TRUE(import()) << "the first row was skipped, and that counts";

    neighbours = {neighbour({hostA.mac, host(10000).ip}), neighbour(host(1))};
    EXPECT_TRUE(import()) << "the first row is known";
    EXPECT_EQ(known(host(10000).ip), host(10000).mac);
    ASSERT_EQ(table().size(), 199U);
    EXPECT_EQ(known(host(1).ip), "unknown");
}

TEST_F(ARPImport, LeavesTheLoopAtTheFirstRowWithoutRoom)
{
    fill(198);
    neighbours = {neighbour(host(0)), neighbour(host(1)), neighbour(host(2))};

    EXPECT_TRUE(import());

    EXPECT_EQ(known(host(0).ip), host(0).mac);
    EXPECT_EQ(known(host(1).ip), "unknown");
}

TEST_F(ARPImport, FirstBindingStays)
{
    count(test::arpRequest(hostA, hostC));
    neighbours = {neighbour({hostB.mac, hostA.ip}), neighbour({hostB.mac, hostB.ip}),
                  neighbour({hostC.mac, hostB.ip})};

    EXPECT_TRUE(import());

    ASSERT_EQ(table().size(), 2U);
    EXPECT_EQ(known(hostA.ip), hostA.mac);
    EXPECT_EQ(known(hostB.ip), hostB.mac);
}

TEST_F(ARPImport, WorksWithoutAnAnalysisAndIsClearedByTheNext)
{
    neighbours = {neighbour(hostA)};
    manager.endAnalyzing();

    EXPECT_TRUE(import());
    ASSERT_EQ(table().size(), 1U);
    EXPECT_FALSE(manager.analyzing());

    manager.beginAnalyzing(nullptr);
    EXPECT_EQ(table().size(), 0U);
    EXPECT_TRUE(import());
    ASSERT_EQ(table().size(), 1U);
}

TEST_F(ARPImport, ReaderThatThrowsLeavesTheGateOpen)
{
    EXPECT_THROW(manager.InsertARPTable(
                     [](std::vector<CNeighbour> &) -> bool { throw std::runtime_error("no table"); }),
                 std::runtime_error);
    EXPECT_FALSE(manager.InsertARPTable([](std::vector<CNeighbour> &) { return false; }));
    count(test::arpRequest(hostA, hostC));
    ASSERT_EQ(table().size(), 1U);
}

// What the reader of the next test takes along.
struct
{
    CKetrinStatManager * manager = nullptr;
    std::future<void> frame;
    bool countedMeanwhile = false;
} whileReading;

TEST_F(ARPImport, HoldsFramesUpWhileTheSystemIsAsked)
{
    whileReading.manager = &manager;

    manager.InsertARPTable([](std::vector<CNeighbour> &) {
        whileReading.frame = std::async(std::launch::async, [] {
            Frame frame(test::arpRequest(hostA, hostC));
            whileReading.manager->analyzeFrame(&frame);
        });
        whileReading.countedMeanwhile =
            whileReading.frame.wait_for(std::chrono::milliseconds(20)) == std::future_status::ready;
        return false;
    });
    whileReading.frame.get();

    EXPECT_FALSE(whileReading.countedMeanwhile);
    ASSERT_EQ(table().size(), 1U);
}

bool same(std::vector<CNeighbour> const & left, std::vector<CNeighbour> const & right)
{
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(), [](CNeighbour const & a, CNeighbour const & b) {
            return a.address == b.address && a.hardwareAddress == b.hardwareAddress && a.type == b.type;
        });
}

TEST_F(ARPImport, TakesTheTableOfThisMachine)
{
    std::vector<CNeighbour> before;
    std::vector<CNeighbour> after;
    bool const readable = platform::readNeighbours(before);
    bool const handled = manager.InsertARPTable();
    if (!readable || !platform::readNeighbours(after))
        GTEST_SKIP() << "this machine doesn't tell its table, or it is too large";
    if (!same(before, after))
        GTEST_SKIP() << "the table of this machine changed meanwhile";

    EXPECT_EQ(handled, !before.empty());
    for (unsigned int rowId = table().getOldestId(); rowId != 0; rowId = table().getNextNewerId(rowId)) {
        CARPStat const & row = *table().getChildById(rowId);
        EXPECT_TRUE(std::any_of(before.begin(), before.end(), [&](CNeighbour const & entry) {
            return entry.type != CNeighbour::invalid && CIPAddress(entry.address) == row.ipAddress.get() &&
                   entry.hardwareAddress == row.macAddress.get().bytes;
        }));
    }
    for (CNeighbour const & entry : before)
        EXPECT_TRUE(entry.type == CNeighbour::invalid || table().size() == 199 ||
                    table().find(entry.address));
}

} // namespace
