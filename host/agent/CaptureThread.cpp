#include "host/agent/CaptureThread.h"

#include "host/support/Caught.h"
#include "host/support/Failure.h"

#include <fmt/format.h>

namespace ketmon {

CCaptureThread::CCaptureThread(KetStats::CKetrinStatManager & manager, CCaptureSource & source,
                               CFeedOptions const & options)
    : m_manager(manager),
      m_source(source),
      m_options(options)
{}

CCaptureThread::~CCaptureThread()
{
    if (m_thread.joinable())
        stop();
}

void CCaptureThread::start(std::function<void(CEnd const & end)> ended)
{
    std::promise<void> over;
    m_ended = over.get_future();
    m_thread = std::jthread(
        [this, ended = std::move(ended), over = std::move(over)](std::stop_token const & stop) mutable {
            ended(run(stop));
            over.set_value();
        });
}

CEnd CCaptureThread::run(std::stop_token const & stop)
{
    CEnd end;
    try {
        feedFrames(m_manager, m_source, m_options, stop, m_summary);
        m_summary.faults = m_source.faults();
        if (!m_summary.faults.damage.empty())
            end = {EndReason::failed, 0, fmt::format("{}", fmt::join(m_summary.faults.damage, "; "))};
    } catch (CInterfaceGone const & failure) {
        m_failure = std::current_exception();
        end = {EndReason::interfaceGone, 0, failure.what()};
    } catch (std::exception const & failure) {
        m_failure = std::current_exception();
        end = {EndReason::failed, 0, failure.what()};
    } catch (...) {
        end = {EndReason::failed, 0, caughtText()};
        m_failure = std::make_exception_ptr(CFailure(exitFailure, end.text));
    }
    end.frames = m_summary.frames;
    return end;
}

void CCaptureThread::stop()
{
    m_thread.request_stop();
    m_source.stop();
}

bool CCaptureThread::endsWithin(std::chrono::milliseconds most)
{
    if (!m_thread.joinable())
        return true;
    stop();
    return m_ended.wait_for(most) == std::future_status::ready;
}

void CCaptureThread::join()
{
    if (!m_thread.joinable())
        return;
    stop();
    m_thread.join();
    if (m_failure)
        std::rethrow_exception(m_failure);
}

} // namespace ketmon
