#include "host/support/Interrupt.h"

#include "host/support/Failure.h"

#include <fmt/core.h>

#include <cerrno>
#include <cstring>

#include <sys/eventfd.h>
#include <unistd.h>

namespace ketmon {

CInterrupt::CInterrupt() : m_descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (m_descriptor < 0)
        throw CFailure(exitFailure, fmt::format("no event can be made: {}", std::strerror(errno)));
}

CInterrupt::~CInterrupt()
{
    close(m_descriptor);
}

void CInterrupt::raise() noexcept
{
    m_raised.store(true, std::memory_order_release);
    // It can only fail where the event is raised already, more often than can be counted.
    static_cast<void>(eventfd_write(m_descriptor, 1));
}

} // namespace ketmon
