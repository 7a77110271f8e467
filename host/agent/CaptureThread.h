#pragma once

#include "host/capture/CaptureSummary.h"
#include "host/capture/FrameFeed.h"
#include "host/wire/SampleMessage.h"

#include "ketstats/ketstats.h"

#include <chrono>
#include <exception>
#include <functional>
#include <future>
#include <thread>

namespace ketmon {

// The thread on which the frames of an agent are read and analysed. It ends with the object at the latest.
class CCaptureThread
{
public:
    // Both must live longer.
    CCaptureThread(KetStats::CKetrinStatManager & manager, CCaptureSource & source,
                   CFeedOptions const & options);
    ~CCaptureThread();

    CCaptureThread(CCaptureThread const &) = delete;
    CCaptureThread & operator=(CCaptureThread const &) = delete;

    // `ended` is called on the thread, as its last deed.
    void start(std::function<void(CEnd const & end)> ended);
    void stop();

    // Tells it to end; whether it did within that time. It doesn't while a read hangs which nothing interrupts.
    bool endsWithin(std::chrono::milliseconds most);
    // Ends the thread. Throws what it failed with.
    void join();
    // What it counted; once it has ended.
    CCaptureSummary const & summary() const { return m_summary; }

private:
    CEnd run(std::stop_token const & stop);

    KetStats::CKetrinStatManager & m_manager;
    CCaptureSource & m_source;
    CFeedOptions m_options;
    CCaptureSummary m_summary; // this and the next are written by the thread, and read behind its end
    std::exception_ptr m_failure;
    std::future<void> m_ended;
    std::jthread m_thread;
};

} // namespace ketmon
