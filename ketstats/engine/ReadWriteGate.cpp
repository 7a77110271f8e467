#include "ketstats/engine/ReadWriteGate.h"

namespace KetStats {

void CReadWriteGate::enterEntry()
{
    if (m_state.fetch_add(oneAtEntry, std::memory_order_acquire) >= oneAtEntry)
        entry.wait();
}

void CReadWriteGate::leaveEntry(bool writerGoesIn)
{
    // The holder of entry knows the two low bits, since nobody else changes them meanwhile. So one addition
    // puts them right and gives up its place.
    unsigned int const before = m_state.load(std::memory_order_relaxed);
    bool const others = readersActive != 0 || readersWaiting != 0 || writersWaiting != 0;
    unsigned int const after =
        (before & ~othersPresent) | (others ? othersPresent : 0U) | (writerGoesIn ? writerInside : 0U);
    unsigned int const old = m_state.fetch_add(after - before - oneAtEntry, std::memory_order_release);
    if (old >= 2 * oneAtEntry)
        entry.post();
}

void CReadWriteGate::enterContendedWriter()
{
    enterEntry();
    if (writerActive() || readersActive != 0) {
        ++writersWaiting;
        leaveEntry();
        writerDelay.wait();
        --writersWaiting;
    }
    leaveEntry(true);
}

void CReadWriteGate::leaveContendedWriter()
{
    enterEntry();
    m_state.fetch_sub(writerInside, std::memory_order_relaxed);
    if (readersWaiting != 0)
        readerDelay.post();
    else if (writersWaiting != 0)
        writerDelay.post();
    else
        leaveEntry();
}

void CReadWriteGate::enterReader()
{
    enterEntry();
    if (writerActive() || writersWaiting != 0) {
        ++readersWaiting;
        leaveEntry();
        readerDelay.wait();
        --readersWaiting;
    }
    ++readersActive;
    if (readersWaiting != 0)
        readerDelay.post();
    else
        leaveEntry();
}

void CReadWriteGate::leaveReader()
{
    enterEntry();
    --readersActive;
    if (readersActive == 0 && writersWaiting != 0)
        writerDelay.post();
    else
        leaveEntry();
}

unsigned int CReadWriteGate::waiting()
{
    enterEntry();
    unsigned int const count = readersWaiting + writersWaiting;
    leaveEntry();
    return count;
}

} // namespace KetStats
