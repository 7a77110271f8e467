#pragma once

#include "ketstats/platform/Exports.h"
#include "ketstats/platform/Semaphore.h"

#include <atomic>

namespace KetStats {

// The reader/writer gate of a manager: any number of readers, or one writer.
//
// 1. A new reader gives way to a waiting writer.
// 2. A finishing writer gives way to the waiting readers, which wake one another in a chain, before any
//    waiting writer. So under load readers and writers take turns, and neither starves.
// 3. `entry` is held by one thread at a time and protects the three counts. It is passed on like a baton:
//    whoever is woken out of `writerDelay` or `readerDelay` holds it by hand-over, and the thread that woke
//    it entered it and did not leave it.
// 4. Nobody waits for a gate that is idle: a writer goes in and out with one atomic operation each, which
//    does in one step what entering `entry`, looking, and leaving it again would do.
// 5. A thread that is cancelled while it waits has its turn all the same, and is cancelled behind the wait.
//
// All that point 4 has to know lies in one word:
//
//     bit 0     a writer is inside
//     bit 1     readers are inside, or somebody waits
//     bits 2..  how many threads hold `entry` or wait for it
//
// The first two bits change only in a thread that holds `entry`, or in the one operation of point 4, which
// needs the word to be clear but for the writer itself. Works on every thread, the one that made the gate
// included. It is not recursive: a thread inside must not enter again.
class KETSTATS_API CReadWriteGate
{
public:
    CReadWriteGate() = default;
    // No thread may be inside or waiting.
    ~CReadWriteGate() = default;

    CReadWriteGate(CReadWriteGate const &) = delete;
    CReadWriteGate & operator=(CReadWriteGate const &) = delete;

    void enterWriter()
    {
        unsigned int idle = 0;
        if (!m_state.compare_exchange_strong(idle, writerInside, std::memory_order_acquire))
            enterContendedWriter();
    }

    void leaveWriter()
    {
        unsigned int alone = writerInside;
        if (!m_state.compare_exchange_strong(alone, 0, std::memory_order_release))
            leaveContendedWriter();
    }

    void enterReader();
    void leaveReader();

    // How many threads wait for their turn; for tests and for hosts that watch their own load.
    unsigned int waiting();

private:
    static constexpr unsigned int writerInside = 1;
    static constexpr unsigned int othersPresent = 2;
    static constexpr unsigned int oneAtEntry = 4;

    void enterContendedWriter();
    void leaveContendedWriter();

    // Both for the holder of `entry`, who alone may ask and change this.
    bool writerActive() const { return (m_state.load(std::memory_order_relaxed) & writerInside) != 0; }
    void leaveEntry(bool writerGoesIn = false);
    void enterEntry();

    std::atomic<unsigned int> m_state{0};
    unsigned int readersWaiting = 0; // blocked on readerDelay
    unsigned int writersWaiting = 0; // blocked on writerDelay
    unsigned int readersActive = 0;
    platform::CSemaphore entry;
    platform::CSemaphore writerDelay; // posted by whoever releases, never by the one that waits
    platform::CSemaphore readerDelay;
};

// Hold one side of the gate for a scope, through exceptions too. release() ends the hold early.
class CReadGuard
{
public:
    [[nodiscard]] explicit CReadGuard(CReadWriteGate & gate) : m_gate(&gate) { m_gate->enterReader(); }
    ~CReadGuard() { release(); }

    CReadGuard(CReadGuard const &) = delete;
    CReadGuard & operator=(CReadGuard const &) = delete;

    void release()
    {
        if (held) {
            held = false;
            m_gate->leaveReader();
        }
    }

private:
    CReadWriteGate * m_gate;
    bool held = true;
};

class CWriteGuard
{
public:
    [[nodiscard]] explicit CWriteGuard(CReadWriteGate & gate) : m_gate(&gate) { m_gate->enterWriter(); }
    ~CWriteGuard() { release(); }

    CWriteGuard(CWriteGuard const &) = delete;
    CWriteGuard & operator=(CWriteGuard const &) = delete;

    void release()
    {
        if (held) {
            held = false;
            m_gate->leaveWriter();
        }
    }

private:
    CReadWriteGate * m_gate;
    bool held = true;
};

} // namespace KetStats
