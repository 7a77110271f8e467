#pragma once

#include "host/agent/Listener.h"
#include "host/agent/Welcome.h"
#include "host/support/Log.h"
#include "host/support/ServiceManager.h"
#include "host/wire/SampleMessage.h"

#include "ketstats/ketstats.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

namespace ketmon {

struct CServerOptions
{
    CListenOptions listen;
    std::chrono::milliseconds interval{1000};
    std::chrono::milliseconds linger{0};
    unsigned int consoles = 0;                  // how many must be connected before the capture starts
    std::size_t backlog = std::size_t{4} << 20; // with more to be taken a console gets no further sample
    std::size_t mostConsoles = 100;
    std::size_t memory = std::size_t{1} << 30; // bytes that the program may have before consoles go without
};

// Serves consoles over TCP: each has a snapshot of its own, with its own selection and zero point.
//
//     waiting ---enough consoles---> counting ---captureEnded---> ending ---> lingering ---> over
//        |                              ^ |                         ^  last      until the time is up and all
//        |                              +-+ sample, each interval   |  sample    consoles have hung up
//        +---signal-------------------------------------------------+
//
// 1. All of it runs on the thread that calls `run`; samples go through the manager's gate beside the thread
//    that analyses frames. Only `captureEnded` may be called from another thread.
// 2. Before every round of samples a snapshot of the server's own is initialised: that asks the adapter for
//    its counters and moves no console's zero point. Rounds are due at fixed times; one whose time is over when
//    its turn comes is left out, and told.
// 3. A console that doesn't keep up gets fewer samples, which cover a longer time each. One that takes nothing, sends
//    what makes no sense, or can't be afforded is dropped with a line in the log. None holds up the capture or another.
// 4. After the capture every console gets a last sample and the end. A console that comes later gets a full
//    one and the end, for as long as the server lingers.
// 5. Memory has a ceiling: a console that would go beyond it is refused, and as long as it is exceeded all the same the
//    console that came last goes, one a second. What consoles had is given back to the system when they leave.
// 6. No exception of what it does for others ends it: it is told, and the server goes on.
class CAgentServer
{
public:
    // `startCapture` is called once, on the thread of `run`, when enough consoles are there. `stopCapture` is
    // called on a signal to end; either way `captureEnded` must follow. The manager must be analysing. Throws
    // CFailure if it can't listen.
    CAgentServer(KetStats::CKetrinStatManager & manager, CServerOptions const & options,
                 CServed const & served, CLog & log, CServiceManager & service,
                 std::function<void()> startCapture, std::function<void()> stopCapture);
    ~CAgentServer();

    CAgentServer(CAgentServer const &) = delete;
    CAgentServer & operator=(CAgentServer const &) = delete;

    // Where it listens, with the port that it got.
    CEndpoint endpoint() const;

    // Whether only this machine can reach that.
    bool isNear() const;

    // Returns when the capture has ended and all consoles are served, or at a second signal. Throws what
    // `startCapture` throws, once the consoles were told.
    void run();

    // The capture is over. That it was a signal which ended it is known here. Any thread.
    void captureEnded(CEnd const & end) noexcept;

private:
    class CServer;
    std::unique_ptr<CServer> m_server;
};

} // namespace ketmon
