#include "ketstats/engine/ReadWriteGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace KetStats;

namespace {

// Records who is inside the gate, and whether that was ever more than the gate may let in. The plain counter
// is there for the thread sanitizer: a writer that isn't alone is a data race on it.
class Checker
{
public:
    void readerIn()
    {
        m_readers.fetch_add(1);
        if (m_writers.load() != 0)
            m_broken = true;
        m_seen = m_written;
    }
    void readerOut() { m_readers.fetch_sub(1); }
    void writerIn()
    {
        if (m_writers.fetch_add(1) != 0 || m_readers.load() != 0)
            m_broken = true;
        ++m_written;
    }
    void writerOut() { m_writers.fetch_sub(1); }

    int readers() const { return m_readers.load(); }
    int writers() const { return m_writers.load(); }
    bool broken() const { return m_broken.load(); }
    long written() const { return m_written; }

private:
    std::atomic<int> m_readers{0};
    std::atomic<int> m_writers{0};
    std::atomic<bool> m_broken{false};
    std::atomic<long> m_seen{0};
    long m_written = 0;
};

TEST(Checker, NoticesWhoMustNotBeInside)
{
    Checker twoWriters;
    twoWriters.writerIn();
    EXPECT_FALSE(twoWriters.broken());
    twoWriters.writerIn();
    EXPECT_TRUE(twoWriters.broken());

    Checker readerBesideWriter;
    readerBesideWriter.writerIn();
    readerBesideWriter.readerIn();
    EXPECT_TRUE(readerBesideWriter.broken());

    Checker writerBesideReaders;
    writerBesideReaders.readerIn();
    writerBesideReaders.readerIn();
    EXPECT_FALSE(writerBesideReaders.broken());
    writerBesideReaders.writerIn();
    EXPECT_TRUE(writerBesideReaders.broken());
}

// One thread at a time: whatever need not wait doesn't, on the thread that made the gate too.
TEST(ReadWriteGate, LetsPassWhoeverNeedNotWait)
{
    CReadWriteGate gate;
    Checker checker;
    for (int round = 0; round < 3; ++round) {
        gate.enterReader();
        checker.readerIn();
        gate.enterReader();
        checker.readerIn();
        EXPECT_EQ(checker.readers(), 2);
        checker.readerOut();
        gate.leaveReader();
        checker.readerOut();
        gate.leaveReader();

        gate.enterWriter();
        checker.writerIn();
        checker.writerOut();
        gate.leaveWriter();
    }
    EXPECT_FALSE(checker.broken());
    EXPECT_EQ(gate.waiting(), 0U);
}

// A thread that does one step at a time, when it is told to. Steps that block are how a script makes somebody
// wait at the gate.
class Actor
{
public:
    Actor() : m_thread([this] { run(); }) {}
    ~Actor()
    {
        act({});
        m_thread.join();
    }
    Actor(Actor const &) = delete;
    Actor & operator=(Actor const &) = delete;

    // Starts a step, which must find the one before it done.
    void act(std::function<void()> step)
    {
        m_step = std::move(step);
        m_done = false;
        m_pending.post();
    }

    bool done() const { return m_done; }

private:
    void run()
    {
        for (;;) {
            m_pending.wait();
            if (!m_step)
                return;
            m_step();
            m_done = true;
        }
    }

    std::function<void()> m_step; // the actor's from `act` until it is done
    KetStats::platform::CSemaphore m_pending;
    std::atomic<bool> m_done{true};
    std::thread m_thread;
};

// Plays scripts such as "r0+ w1+ r2? ...": actors enter and leave in a fixed order.
class Script : public testing::Test
{
protected:
    static void eventually(std::function<bool()> const & holds, char const * what)
    {
        auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!holds()) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << "waited in vain: " << what;
            std::this_thread::yield();
        }
    }

    void startReader(std::size_t who)
    {
        m_actors[who].act([this, who] {
            gate.enterReader();
            checker.readerIn();
            note('r', who);
        });
    }
    void startWriter(std::size_t who)
    {
        m_actors[who].act([this, who] {
            gate.enterWriter();
            checker.writerIn();
            note('w', who);
        });
    }
    void stopReader(std::size_t who)
    {
        m_actors[who].act([this] {
            checker.readerOut();
            gate.leaveReader();
        });
        settled(who);
    }
    void stopWriter(std::size_t who)
    {
        m_actors[who].act([this] {
            checker.writerOut();
            gate.leaveWriter();
        });
        settled(who);
    }

    void settled(std::size_t who)
    {
        eventually([&] { return m_actors[who].done(); }, "an actor to finish its step");
    }
    // Which of two that wait goes in; systems differ in whom they wake first.
    std::size_t firstIn(std::size_t one, std::size_t other)
    {
        eventually([&] { return m_actors[one].done() || m_actors[other].done(); }, "one of two to go in");
        return m_actors[one].done() ? one : other;
    }
    void waitsAsNumber(unsigned int count)
    {
        eventually([&] { return gate.waiting() == count; }, "an actor to wait at the gate");
    }

    // Who came in, in order: "r0 w1 ".
    std::string entered()
    {
        std::lock_guard const lock(m_noteMutex);
        return m_entered;
    }

    CReadWriteGate gate;
    Checker checker;

private:
    void note(char kind, std::size_t who)
    {
        std::lock_guard const lock(m_noteMutex);
        m_entered += kind + std::to_string(who) + ' ';
    }

    std::mutex m_noteMutex;
    std::string m_entered;
    Actor m_actors[6];
};

using ReadWriteGateScript = Script;

TEST_F(ReadWriteGateScript, NewReaderGivesWayToAWaitingWriter)
{
    startReader(0);
    settled(0);
    startWriter(1);
    waitsAsNumber(1);
    startReader(2);
    waitsAsNumber(2);
    EXPECT_EQ(entered(), "r0 ");

    stopReader(0);
    settled(1);
    EXPECT_EQ(entered(), "r0 w1 ");
    EXPECT_EQ(gate.waiting(), 1U) << "the reader stays out while the writer is in";

    stopWriter(1);
    settled(2);
    EXPECT_EQ(entered(), "r0 w1 r2 ");
    stopReader(2);
    EXPECT_FALSE(checker.broken());
}

TEST_F(ReadWriteGateScript, FinishingWriterLetsAllWaitingReadersInBeforeTheNextWriter)
{
    startWriter(0);
    settled(0);
    startWriter(1);
    waitsAsNumber(1);
    startReader(2);
    waitsAsNumber(2);
    startReader(3);
    waitsAsNumber(3);
    startReader(4);
    waitsAsNumber(4);

    stopWriter(0);
    settled(2);
    settled(3);
    settled(4);
    EXPECT_EQ(checker.readers(), 3) << "they wake one another in a chain";
    EXPECT_EQ(gate.waiting(), 1U);

    stopReader(2);
    stopReader(3);
    EXPECT_EQ(checker.writers(), 0);
    stopReader(4);
    settled(1);
    EXPECT_EQ(entered().substr(entered().size() - 3), "w1 ");
    stopWriter(1);
    EXPECT_FALSE(checker.broken());
}

TEST_F(ReadWriteGateScript, ReadersThatQueuedBehindAWriterGoInBeforeTheNextWriter)
{
    startReader(0);
    settled(0);
    startWriter(1);
    waitsAsNumber(1);
    startReader(2);
    waitsAsNumber(2);
    startWriter(3);
    waitsAsNumber(3);

    stopReader(0);
    std::size_t const first = firstIn(1, 3);
    std::size_t const second = first == 1 ? 3 : 1;
    startReader(4);
    waitsAsNumber(3);
    stopWriter(first);
    settled(2);
    settled(4);
    EXPECT_EQ(checker.readers(), 2);
    startReader(5);
    waitsAsNumber(2);
    stopReader(2);
    stopReader(4);
    settled(second);
    EXPECT_EQ(checker.writers(), 1);
    stopWriter(second);
    settled(5);
    stopReader(5);
    EXPECT_FALSE(checker.broken());
}

TEST_F(ReadWriteGateScript, WritersGoInOneAfterAnother)
{
    startWriter(0);
    settled(0);
    startWriter(1);
    waitsAsNumber(1);
    startWriter(2);
    waitsAsNumber(2);

    stopWriter(0);
    std::size_t const first = firstIn(1, 2);
    std::size_t const second = first == 1 ? 2 : 1;
    EXPECT_EQ(checker.writers(), 1);
    EXPECT_EQ(gate.waiting(), 1U);
    stopWriter(first);
    settled(second);
    stopWriter(second);
    EXPECT_EQ(checker.written(), 3);
    EXPECT_FALSE(checker.broken());
}

// The thread that made the gate has to wait there like any other.
TEST(ReadWriteGate, MakesItsOwnMakerWait)
{
    CReadWriteGate gate;
    std::atomic<bool> inside{false};
    std::atomic<bool> leave{false};
    std::thread other([&] {
        CWriteGuard const guard(gate);
        inside = true;
        while (!leave)
            std::this_thread::yield();
        inside = false;
    });
    while (!inside)
        std::this_thread::yield();
    std::thread opener([&] {
        while (gate.waiting() == 0)
            std::this_thread::yield();
        leave = true;
    });

    gate.enterReader();

    EXPECT_FALSE(inside);
    gate.leaveReader();
    other.join();
    opener.join();
}

TEST(ReadWriteGate, GuardsReleaseOnAnExceptionAndOnlyOnce)
{
    CReadWriteGate gate;
    Checker checker;
    EXPECT_THROW(
        {
            CWriteGuard const guard(gate);
            throw std::runtime_error("out of the writer side");
        },
        std::runtime_error);
    EXPECT_THROW(
        {
            CReadGuard const guard(gate);
            throw std::runtime_error("out of the reader side");
        },
        std::runtime_error);
    {
        CWriteGuard guard(gate);
        guard.release();
        CReadGuard reader(gate);
        reader.release();
        reader.release();
    }
    CWriteGuard const free(gate);
    checker.writerIn();
    EXPECT_FALSE(checker.broken());
}

// Many threads, some of them throwing under the guards.
TEST(ReadWriteGateConcurrency, NobodyIsEverInsideBesideAWriter)
{
    CReadWriteGate gate;
    Checker checker;
    std::atomic<long> writes{0};
    constexpr int rounds = 3000;

    std::vector<std::thread> threads;
    for (unsigned int seed = 1; seed <= 6; ++seed)
        threads.emplace_back([&, seed] {
            std::mt19937 random(seed);
            for (int round = 0; round < rounds; ++round) {
                bool const fails = random() % 8 == 0;
                try {
                    if (seed % 2 == 0) {
                        CWriteGuard const guard(gate);
                        checker.writerIn();
                        ++writes;
                        checker.writerOut();
                        if (fails)
                            throw std::runtime_error("writer");
                    } else {
                        CReadGuard const guard(gate);
                        checker.readerIn();
                        checker.readerOut();
                        if (fails)
                            throw std::runtime_error("reader");
                    }
                } catch (std::runtime_error const &) {
                }
            }
        });
    for (std::thread & thread : threads)
        thread.join();

    EXPECT_FALSE(checker.broken());
    EXPECT_EQ(checker.written(), writes.load());
    EXPECT_EQ(writes.load(), 3L * rounds);
    EXPECT_EQ(gate.waiting(), 0U);
}

// Runs `crowd` threads of one side without a pause until one thread of the other side got in `rounds` times.
// It would hang, and time out, if the crowd kept it out.
template <class CrowdGuard, class LoneGuard>
void expectNoStarvation(int crowd, int rounds)
{
    CReadWriteGate gate;
    std::atomic<bool> over{false};
    std::atomic<long> crowded{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < crowd; ++i)
        threads.emplace_back([&] {
            while (!over) {
                CrowdGuard const guard(gate);
                ++crowded;
            }
        });
    while (crowded.load() < 100)
        std::this_thread::yield();

    for (int round = 0; round < rounds; ++round) {
        long const before = crowded.load();
        {
            LoneGuard const guard(gate);
        }
        if (round % 16 == 0)
            while (crowded.load() == before)
                std::this_thread::yield(); // the crowd isn't starved either
    }
    over = true;
    for (std::thread & thread : threads)
        thread.join();
}

TEST(ReadWriteGateConcurrency, ReadersDoNotStarveAWriter)
{
    expectNoStarvation<CReadGuard, CWriteGuard>(3, 500);
}

TEST(ReadWriteGateConcurrency, WritersDoNotStarveAReader)
{
    expectNoStarvation<CWriteGuard, CReadGuard>(3, 500);
}

} // namespace
