#include "host/capture/posix/InterfaceWait.h"

#include "host/capture/posix/InterfaceState.h"
#include "host/support/Log.h"

#include <fmt/core.h>

#include <csignal>
#include <ctime>

namespace ketmon {

namespace {

// Keeps signals from doing what they do, for as long as it lives: they are waited for instead. Those that the
// program was started to ignore are heard, too; the agent does so all its life.
class CHeldSignals
{
public:
    CHeldSignals()
    {
        sigemptyset(&m_held);
        for (int const number : {SIGINT, SIGTERM, SIGHUP})
            sigaddset(&m_held, number);
        pthread_sigmask(SIG_BLOCK, &m_held, &m_before);
    }
    ~CHeldSignals() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    CHeldSignals(CHeldSignals const &) = delete;
    CHeldSignals & operator=(CHeldSignals const &) = delete;

    // The signal that came within a second, or -1.
    int wait() const
    {
        timespec const second{1, 0};
        return sigtimedwait(&m_held, nullptr, &second);
    }

private:
    sigset_t m_held{};
    sigset_t m_before{};
};

} // namespace

bool awaitInterface(std::string const & name, std::string const & why, std::function<void()> const & waiting,
                    CLog & log)
{
    CHeldSignals const signals;
    CInterfaceState const state;
    log.warn(fmt::format("{}; waiting until it is there and up", why));
    do {
        waiting();
        int const signal = signals.wait();
        if (signal == SIGINT || signal == SIGTERM)
            return false;
    } while (!state.isUp(name));
    log.inform(fmt::format("{}: is up, and the capture begins", name));
    return true;
}

} // namespace ketmon
