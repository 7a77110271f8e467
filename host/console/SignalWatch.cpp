#include "host/console/SignalWatch.h"

#include "host/support/Failure.h"

#include <csignal>
#include <cstdlib>
#include <utility>

namespace ketmon {

CSignalWatch::CSignalWatch(std::function<void()> interrupted) : m_interrupted(std::move(interrupted))
{
    m_signals.add(SIGINT);
    m_signals.add(SIGTERM);
    wait();
    m_thread = std::jthread([this] { m_io.run(); });
}

CSignalWatch::~CSignalWatch()
{
    m_io.stop();
}

void CSignalWatch::wait()
{
    m_signals.async_wait([this](auto error, int) {
        if (error)
            return;
        // Nothing is tidied up, for that may be what is stuck.
        if (!m_interrupted)
            std::_Exit(exitSuccess);
        std::exchange(m_interrupted, nullptr)();
        wait();
    });
}

} // namespace ketmon
