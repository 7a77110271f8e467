#pragma once

#include "host/wire/Endpoint.h"

#include "ketstats/ketstats.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

namespace ketmon {

struct CServerOptions
{
    CEndpoint listen;
    std::chrono::milliseconds interval{1000};
    std::chrono::milliseconds linger{0};
    unsigned int consoles = 0;                  // how many must be connected before the capture starts
    std::size_t backlog = std::size_t{4} << 20; // bytes that may wait for one console
    bool quiet = false;                         // says nothing of consoles that come and go
};

// Serves consoles over TCP: each has a snapshot of its own, with its own selection and zero point.
//
// 1. All of it runs on the thread that calls `run`; samples go through the manager's gate beside the thread
//    that analyses frames. Only `captureEnded` may be called from another thread.
// 2. Before every round of samples a snapshot of the server's own is initialised: that asks the adapter for
//    its counters and moves no console's zero point.
// 3. A console that doesn't keep up, or sends what makes no sense, is dropped with a line on stderr. It never
//    holds up the capture or another console.
// 4. After the capture every console gets a last sample and the end. A console that comes later gets a full
// one
//    and the end, for as long as the server lingers.
class CAgentServer
{
public:
    // `startCapture` is called once, on the thread of `run`, when enough consoles are there. `stopCapture` is
    // called on a signal to end; either way `captureEnded` must follow. Throws CFailure if it can't listen.
    CAgentServer(KetStats::CKetrinStatManager & manager, CServerOptions const & options,
                 std::function<void()> startCapture, std::function<void()> stopCapture);
    ~CAgentServer();

    CAgentServer(CAgentServer const &) = delete;
    CAgentServer & operator=(CAgentServer const &) = delete;

    // Where it listens, with the port that it got.
    CEndpoint endpoint() const;

    // Returns when the capture has ended and all consoles are served, or at a second signal.
    void run();

    // The capture is over, with so many frames counted. Any thread.
    void captureEnded(unsigned long long frames);

private:
    class CServer;
    std::unique_ptr<CServer> m_server;
};

} // namespace ketmon
