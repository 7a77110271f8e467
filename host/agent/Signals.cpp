#include "host/agent/Signals.h"

#include <csignal>

namespace ketmon {

CSignals::CSignals(asio::io_context & io, std::function<void()> ending, std::function<void()> hungUp)
    : m_ending(std::move(ending)),
      m_hungUp(std::move(hungUp)),
      m_signals(io)
{
    m_signals.add(SIGINT);
    m_signals.add(SIGTERM);
#ifdef SIGHUP
    m_signals.add(SIGHUP); // a terminal that is gone ends no agent
#endif
}

void CSignals::revive()
{
    if (m_waits)
        return;
    m_signals.async_wait([this](auto error, int number) {
        m_waits = false;
        if (error)
            return;
        revive();
        heard(number);
    });
    m_waits = true;
}

void CSignals::heard([[maybe_unused]] int number)
{
#ifdef SIGHUP
    if (number == SIGHUP) {
        m_hungUp();
        return;
    }
#endif
    m_ending();
}

} // namespace ketmon
