#pragma once

#include "ketstats/platform/Exports.h"
#include "ketstats/platform/Semaphore.h"

#include <atomic>

namespace KetStats {

// A section that is open for one thread at a time and can be passed on like a baton: the thread that leaves
// it need not be the one that entered it. Uncontended it costs one atomic operation each way; only a thread
// that finds it closed waits in the system.
//
//     m_vacancies   1 open   0 closed   -n closed, n threads waiting
class CBaton
{
public:
    enum State
    {
        closed = 0,
        open = 1,
    };

    explicit CBaton(State initial) : m_vacancies(initial) {}

    void enter()
    {
        if (m_vacancies.fetch_sub(1, std::memory_order_acquire) <= 0)
            m_waiters.wait();
    }

    void leave()
    {
        if (m_vacancies.fetch_add(1, std::memory_order_release) < 0)
            m_waiters.post();
    }

private:
    std::atomic<int> m_vacancies;
    platform::CSemaphore m_waiters;
};

// The reader/writer gate of a manager: any number of readers, or one writer.
//
// 1. A new reader gives way to a waiting writer.
// 2. A finishing writer gives way to the waiting readers, which wake one another in a chain, before any
// waiting
//    writer. So under load readers and writers take turns, and neither starves.
// 3. `entry` protects the four fields. Whoever is woken out of `writerDelay` or `readerDelay` holds `entry`
// by
//    hand-over: the thread that woke it entered it and did not leave it.
//
// Works on every thread. It is not recursive: a thread inside must not enter again.
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
        entry.enter();
        if (writerActive || readersActive != 0)
            awaitWriter();
        writerActive = true;
        entry.leave();
    }

    void leaveWriter()
    {
        entry.enter();
        writerActive = false;
        if (readersWaiting != 0)
            readerDelay.leave();
        else if (writersWaiting != 0)
            writerDelay.leave();
        else
            entry.leave();
    }

    void enterReader();
    void leaveReader();

    // How many threads wait for their turn; for tests and for hosts that watch their own load.
    unsigned int waiting();

private:
    void awaitWriter();

    bool writerActive = false;
    unsigned int readersWaiting = 0; // blocked on readerDelay
    unsigned int writersWaiting = 0; // blocked on writerDelay
    unsigned int readersActive = 0;
    CBaton entry{CBaton::open};
    CBaton writerDelay{CBaton::closed}; // opened by whoever releases, never by the one that waits
    CBaton readerDelay{CBaton::closed};
};

// Hold one side of the gate for a scope, through exceptions too. release() ends the hold early.
class CReadGuard
{
public:
    explicit CReadGuard(CReadWriteGate & gate) : m_gate(&gate) { m_gate->enterReader(); }
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
    explicit CWriteGuard(CReadWriteGate & gate) : m_gate(&gate) { m_gate->enterWriter(); }
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
