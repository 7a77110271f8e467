#pragma once

#include "ketstats/platform/Exports.h"

namespace KetStats::platform {

// A counting semaphore of the system, starting at 0. Any thread may post what another waits for, and a wait
// blocks on every thread alike, the one that made the semaphore included. A wait is never left without what it
// waits for: a thread that is asked to end meanwhile does so later.
class KETSTATS_API CSemaphore
{
public:
    CSemaphore();
    ~CSemaphore();

    CSemaphore(CSemaphore const &) = delete;
    CSemaphore & operator=(CSemaphore const &) = delete;

    void wait();
    void post();

private:
    void * m_handle;
};

} // namespace KetStats::platform
