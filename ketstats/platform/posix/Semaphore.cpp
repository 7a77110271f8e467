#include "ketstats/platform/Semaphore.h"

#include <pthread.h>
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

// Waiting is where the system would end a thread that was cancelled. What it waits for would then be handed to
// nobody, and whoever counts on it would wait for good.
void CSemaphore::wait()
{
    int state = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    // A signal handler that ran in between is no wake-up.
    while (sem_wait(static_cast<sem_t *>(m_handle)) != 0 && errno == EINTR) {
    }
    pthread_setcancelstate(state, nullptr);
}

void CSemaphore::post()
{
    sem_post(static_cast<sem_t *>(m_handle));
}

} // namespace KetStats::platform
