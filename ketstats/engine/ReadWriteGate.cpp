#include "ketstats/engine/ReadWriteGate.h"

namespace KetStats {

void CReadWriteGate::awaitWriter()
{
    ++writersWaiting;
    entry.leave();
    writerDelay.enter();
    --writersWaiting;
}

void CReadWriteGate::enterReader()
{
    entry.enter();
    if (writerActive || writersWaiting != 0) {
        ++readersWaiting;
        entry.leave();
        readerDelay.enter();
        --readersWaiting;
    }
    ++readersActive;
    if (readersWaiting != 0)
        readerDelay.leave();
    else
        entry.leave();
}

void CReadWriteGate::leaveReader()
{
    entry.enter();
    --readersActive;
    if (readersActive == 0 && writersWaiting != 0)
        writerDelay.leave();
    else
        entry.leave();
}

unsigned int CReadWriteGate::waiting()
{
    entry.enter();
    unsigned int const count = readersWaiting + writersWaiting;
    entry.leave();
    return count;
}

} // namespace KetStats
