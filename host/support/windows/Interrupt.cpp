#include "host/support/Interrupt.h"

namespace ketmon {

// Whoever waits looks at it now and then.
CInterrupt::CInterrupt() = default;
CInterrupt::~CInterrupt() = default;

void CInterrupt::raise() noexcept
{
    m_raised.store(true, std::memory_order_release);
}

} // namespace ketmon
