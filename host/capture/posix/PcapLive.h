#pragma once

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
    // What the capture lost so far: in the interface or its driver, and for want of room in its buffer.
    using Losses = std::function<void(long missed, long softMissed)>;

    // `losses` is called on the thread of `next`, a few times a second while frames flow and none do. Throws
    // CFailure: exit code 1 for an interface that isn't there, can't be captured on or isn't Ethernet, 2 for
    // a filter that is none.
    CPcapLive(std::string const & interface, std::string const & filter, Losses losses);
    ~CPcapLive() override;

    // Waits for a frame; false once stopped. Throws CFailure, exit code 1, if the interface goes away.
    bool next(CCapturedFrame & frame) override;
    void stop() override { m_stopped.store(true, std::memory_order_relaxed); }

private:
    struct CCloser
    {
        void operator()(pcap * handle) const;
    };

    void activate();
    void setFilter(std::string const & filter);
    void wait();
    void tellLosses();

    std::string m_interface;
    Losses m_losses;
    std::unique_ptr<pcap, CCloser> m_handle;
    std::chrono::steady_clock::time_point m_lossesTold{};
    std::atomic<bool> m_stopped{false};
};

} // namespace ketmon
