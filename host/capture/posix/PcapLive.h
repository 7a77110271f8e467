#pragma once

#include "host/capture/CaptureSource.h"
#include "host/capture/FrameBlock.h"
#include "host/capture/LiveCapture.h"
#include "host/capture/WideCounter.h"
#include "host/capture/posix/InterfaceState.h"
#include "host/support/Failure.h"
#include "host/support/Interrupt.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

struct pcap;

namespace ketmon {

class CInterfaceCounters;
class CLog;

// An interface that isn't there, or is down, and may come.
class CInterfaceNotReady : public CFailure
{
public:
    explicit CInterfaceNotReady(std::string const & message) : CFailure(exitFailure, message) {}
};

// The frames that pass a network interface, or "any" of them, as they pass. All but `stop` belongs to one
// thread.
//
// It holds on to the interface by its number: that stays when the interface goes down and comes up again, which
// the log is told, and when it gets another name.
class CPcapLive : public CCaptureSource
{
public:
    // `counters`, which must live longer, is told on the thread of `next` what the capture has received and
    // lost, and of another name, a few times a second while frames flow and none do; so is `log` of what
    // becomes of the interface. Throws CFailure: exit code 1 for an interface that can't be captured on or
    // whose frames can't be counted, which is a CInterfaceNotReady if it isn't there or is down, 2 for a
    // filter that is none.
    CPcapLive(CLiveOptions const & options, CInterfaceCounters & counters, CLog & log);
    ~CPcapLive() override;

    // Waits for a frame; false once stopped. Throws CFailure, exit code 1, if it can't go on, and
    // CInterfaceGone if the interface went away.
    bool next(CCapturedFrame & frame) override;
    // As `next`, for as many frames as the system hands over at once. Their bytes are copied, and stay until the next
    // call of either.
    void nextBlock(CFrameBlock & block) override;
    void stop() override { m_interrupt.raise(); }
    std::optional<std::uint32_t> linkType() const override { return m_linkType; }

private:
    struct CCloser
    {
        void operator()(pcap * handle) const;
    };

    class CBatch;

    void makeRoomForBlocks();
    void lookBehindFrames();
    void activate(CLiveOptions const & options);
    void setFilter(std::string const & filter);
    void failed();
    void wait();
    void lookNowAndThen();
    void look();
    void lookAtInterface();
    void tellCounters();

    std::string m_interface;  // its name by now
    unsigned int m_index = 0; // 0 for all of them
    std::uint32_t m_linkType = linktype::ethernet;
    bool m_up = true;
    unsigned int m_failures = 0; // one behind the other
    CInterfaceCounters & m_counters;
    CLog & m_log;
    CInterfaceState m_state;
    CInterrupt m_interrupt;
    std::unique_ptr<pcap, CCloser> m_handle;
    unsigned int m_longest = 1;         // bytes of a frame
    std::vector<unsigned char> m_bytes; // those of the frames of a block
    CFrameBlock m_single;
    std::chrono::steady_clock::time_point m_lastLook{};
    CWideCounter m_received; // this and the next as libpcap has them
    CWideCounter m_dropped;
};

} // namespace ketmon
