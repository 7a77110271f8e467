#include "ketstats/platform/Semaphore.h"

#include "ketstats/platform/SystemTypes.h"

#include <climits>

namespace KetStats::platform {

CSemaphore::CSemaphore() : m_handle(CreateSemaphoreA(nullptr, 0, LONG_MAX, nullptr)) {}

CSemaphore::~CSemaphore()
{
    CloseHandle(m_handle);
}

void CSemaphore::wait()
{
    WaitForSingleObject(m_handle, INFINITE);
}

void CSemaphore::post()
{
    ReleaseSemaphore(m_handle, 1, nullptr);
}

} // namespace KetStats::platform
