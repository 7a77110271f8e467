#include "ketstats/platform/Semaphore.h"

#include <semaphore.h>

#include <cerrno>

namespace KetStats::platform {

CSemaphore::CSemaphore() : m_handle(new sem_t)
{
    sem_init(static_cast<sem_t *>(m_handle), 0, 0);
}

CSemaphore::~CSemaphore()
{
    auto * const semaphore = static_cast<sem_t *>(m_handle);
    sem_destroy(semaphore);
    delete semaphore;
}

void CSemaphore::wait()
{
    // A signal handler that ran in between is no wake-up.
    while (sem_wait(static_cast<sem_t *>(m_handle)) != 0 && errno == EINTR) {
    }
}

void CSemaphore::post()
{
    sem_post(static_cast<sem_t *>(m_handle));
}

} // namespace KetStats::platform
