#pragma once

#include "host/capture/CaptureCounters.h"
#include "host/capture/CaptureSource.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

struct pcap;

namespace ketmon {

// The frames that pass a network interface, as they pass. All but `stop` belongs to one thread.
class CPcapLive : public CCaptureSource
{
public:
    // What the capture has received and lost so far.
    using Told = std::function<void(CCaptureCounters const & counters)>;

    // `told` is called on the thread of `next`, a few times a second while frames flow and none do. Throws
    // CFailure: exit code 1 for an interface that isn't there, can't be captured on or isn't Ethernet, 2 for
    // a filter that is none.
    CPcapLive(std::string const & interface, std::string const & filter, Told told);
    ~CPcapLive() override;

    // Waits for a frame; false once stopped. Throws CFailure, exit code 1, if it can't go on, which is a
    // CInterfaceGone if the interface went away.
    bool next(CCapturedFrame & frame) override;
    void stop() override { m_stopped.store(true, std::memory_order_relaxed); }

private:
    struct CCloser
    {
        void operator()(pcap * handle) const;
    };

    void activate();
    void setFilter(std::string const & filter);
    bool isThere() const; // the interface
    void wait();
    void tell();

    std::string m_interface;
    Told m_told;
    std::unique_ptr<pcap, CCloser> m_handle;
    std::chrono::steady_clock::time_point m_lastTold{};
    std::atomic<bool> m_stopped{false};
};

} // namespace ketmon
