#include "fuzz/UnpackCheck.h"

#include "tests/snapshot/Clock.h"
#include "tests/snapshot/Snapshots.h"

#include <gtest/gtest.h>

using namespace KetStats;

namespace {

// A manager that counted a few frames of every kind, and packs of what it holds.
class DamagedStream : public testing::Test
{
protected:
    DamagedStream()
    {
        for (int group = 1; group <= 9; ++group)
            manager.enableStatistic("1." + std::to_string(group));
        manager.beginAnalyzing(nullptr);
        snapshot.addOid("1");
        snapshot.initSnapshot(manager);
        count(test::tcpFrame(test::hostA, test::hostB, 80, 1025));
        count(test::tagged(test::udpFrame(test::hostB, test::hostA, 53, 54), 0x0007));
        count(test::arpReply(test::hostA, test::hostC));
        clock.advance(test::Clock::second);
        snapshot.nextSample(manager);
        full = test::packedFull(snapshot);
        test::packedChanges(snapshot);
        count(test::tcpFrame(test::hostC, test::hostB, 80, 81));
        count(test::tcpFrame(test::hostA, test::hostB, 80, 1025));
        clock.advance(test::Clock::second);
        snapshot.nextSample(manager);
        delta = test::packedChanges(snapshot);
    }

    void count(test::Bytes const & bytes)
    {
        test::Frame frame(bytes);
        manager.analyzeFrame(&frame);
    }

    void cutEverywhere(test::Bytes const & stream)
    {
        for (std::size_t length = 0; length <= stream.size(); ++length)
            ASSERT_EQ(fuzz::checkUnpack({stream.data(), length}), "") << "cut at " << length;
    }

    void changeEverywhere(test::Bytes const & stream) { changeEverywhere(stream, 0, stream.size()); }
    void changeEverywhere(test::Bytes const & stream, std::size_t from, std::size_t to)
    {
        test::Bytes damaged = stream;
        for (std::size_t at = from; at < to; ++at) {
            for (int const change : {0x01, 0x02, 0x80, 0xFF}) {
                damaged[at] = static_cast<unsigned char>(stream[at] ^ change);
                ASSERT_EQ(fuzz::checkUnpack(damaged), "")
                    << "byte " << at << " of " << stream.size() << " changed by " << change;
            }
            damaged[at] = stream[at];
        }
    }

    test::Clock clock;
    CKetrinStatManager manager;
    CStatSnapshot snapshot;
    test::Bytes full;
    test::Bytes delta;
};

TEST_F(DamagedStream, CutFullPackIsRefusedAndHarmless)
{
    cutEverywhere(full);
}

TEST_F(DamagedStream, CutChangesAreRefusedAndHarmless)
{
    cutEverywhere(delta);
}

TEST_F(DamagedStream, EveryCutBeforeTheLastEndMarkIsRefused)
{
    for (test::Bytes const & stream : {full, delta})
        for (std::size_t length = 1; length <= stream.size(); ++length) {
            CStatSnapshot receiver;
            bool const complete = length >= stream.size() - 2;
            test::Bytes const cut(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(length));
            EXPECT_EQ(test::read(receiver, cut), complete ? test::nothingRaised : test::bytesEnded)
                << "cut at " << length;
        }
}

TEST_F(DamagedStream, AnyByteOfAFullPackCanBeWrong)
{
    changeEverywhere(full);
}

TEST_F(DamagedStream, AnyByteOfChangesCanBeWrong)
{
    changeEverywhere(delta);
}

TEST_F(DamagedStream, AnyByteOfRowsInEveryTableCanBeWrong)
{
    fuzz::CUnpacking const unpacking;
    changeEverywhere(unpacking.valid(), 0, unpacking.firstSize());
}

TEST_F(DamagedStream, AnyByteOfRowsInEveryTableOfTheSecondTreeCanBeWrong)
{
    fuzz::CUnpacking const unpacking;
    changeEverywhere(unpacking.valid(), unpacking.firstSize(), unpacking.valid().size());
}

TEST_F(DamagedStream, CutRowsOfBothTreesAreRefusedAndHarmless)
{
    cutEverywhere(fuzz::CUnpacking().valid());
}

TEST_F(DamagedStream, NoiseIsHarmless)
{
    unsigned int state = 1;
    for (int round = 0; round < 2000; ++round) {
        test::Bytes damaged = round % 2 ? full : delta;
        for (int changes = 0; changes < 8; ++changes) {
            state = state * 1664525 + 1013904223;
            damaged[(state >> 8) % damaged.size()] = static_cast<unsigned char>(state >> 3 & 0x1F);
        }
        ASSERT_EQ(fuzz::checkUnpack(damaged), "") << "round " << round;
    }
}

} // namespace
