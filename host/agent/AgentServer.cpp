#include "host/agent/AgentServer.h"

#include "host/agent/ConsoleLinks.h"
#include "host/agent/MemoryCeiling.h"
#include "host/agent/Recurrence.h"
#include "host/agent/Signals.h"
#include "host/support/Caught.h"
#include "host/support/Failure.h"

#include <boost/asio/post.hpp>
#include <fmt/core.h>

#include <algorithm>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>

namespace ketmon {

using std::chrono::milliseconds;

namespace {

// A sample needs more than a millisecond since the one before to count anything.
constexpr milliseconds beforeLastSample(20);
// Between two looks after what needs it.
constexpr milliseconds beforeNextLook(1000);
// For consoles that are slow to take the end.
constexpr std::chrono::seconds afterSignal(5);
constexpr std::chrono::seconds afterEnd(30);
// So that a program that is out of memory leaves others some time.
constexpr milliseconds afterFailure(50);

} // namespace

class CAgentServer::CServer
{
public:
    CServer(KetStats::CKetrinStatManager & manager, CServerOptions const & options, CServed const & served,
            CLog & log, CServiceManager & service, std::function<void()> startCapture,
            std::function<void()> stopCapture)
        : m_manager(manager),
          m_options(options),
          m_log(log),
          m_service(service),
          m_startCapture(std::move(startCapture)),
          m_stopCapture(std::move(stopCapture)),
          m_adapter(manager.limits()),
          m_welcome(manager, options.interval, served),
          m_context{manager,
                    [this] { return m_welcome.now(); },
                    options.backlog,
                    served.counters,
                    [this](CConsoleLink const & link) { return m_links.objection(link.peer()); },
                    [this] { return m_memory.shortage(); },
                    [this] { joined(); },
                    [this] { gone(); },
                    log},
          m_links(m_context, options.mostConsoles),
          m_listener(
              m_io, options.listen, [this](auto socket) { m_links.add(std::move(socket)); },
              [this](std::string const & why) {
                  m_log.say(LogLevel::warning, CLog::peer, "can't take a console in: " + why);
              }),
          m_samples(options.interval),
          m_signals(
              m_io, [this] { signalled(); }, [this] { m_log.inform("SIGHUP changes nothing here"); }),
          m_memory(options.memory, log)
    {}

    CEndpoint endpoint() const { return m_listener.endpoint(); }
    bool isNear() const { return m_listener.isNear(); }

    void run()
    {
        for (bool again = true; again;) {
            try {
                revive();
                startIfEnough();
                m_service.ready();
                m_io.run();
                again = false;
            } catch (...) {
                m_log.error(caughtText());
                std::this_thread::sleep_for(afterFailure);
            }
        }
        try {
            m_links.closeAll();
        } catch (...) {
            m_log.error(caughtText());
        }
        m_log.settle();
        if (m_failure)
            std::rethrow_exception(m_failure);
    }

    void captureEnded(CEnd const & end) noexcept
    {
        try {
            {
                std::scoped_lock const lock(m_mutex);
                m_captureEnd = end;
            }
            asio::post(m_io, [this] { lookForEnd(); });
        } catch (std::exception const &) {
            // It is found at the next look.
        }
    }

private:
    using Clock = CRecurrence::Clock;

    enum Phase
    {
        waiting,
        counting,
        isEnding,
        lingering,
        over,
    };

    // Whatever goes on by itself, from the start and if an exception has ended it.
    void revive()
    {
        m_signals.revive();
        if (!m_looks)
            lookAgain();
        if (!m_timed)
            awaitPhase();
        m_listener.revive();
    }

    // What is due next in this phase.
    void awaitPhase()
    {
        switch (m_phase) {
        case counting:
            await(m_samples.due(), [this] { tick(); });
            break;
        case isEnding:
            await(m_phaseEnd, [this] { linger(); });
            break;
        case lingering:
            await(m_phaseEnd, [this] { close(); });
            break;
        case over:
            await(m_phaseEnd, [this] { m_io.stop(); });
            break;
        case waiting:
            break;
        }
    }

    void await(Clock::time_point due, std::function<void()> deed)
    {
        m_timed = false;
        m_timer.expires_at(due);
        m_timer.async_wait([this, phase = m_phase, deed = std::move(deed)](auto error) {
            // One that is due already when it is put off comes here without an error.
            if (error || m_phase != phase)
                return;
            m_timed = false;
            deed();
        });
        m_timed = true;
    }

    void signalled()
    {
        if (m_interrupted || m_phase >= lingering) {
            m_io.stop();
            return;
        }
        m_interrupted = true;
        if (m_phase == waiting)
            ending({});
        else
            m_stopCapture();
    }

    void startIfEnough()
    {
        if (m_phase != waiting || m_links.serving() < m_options.consoles)
            return;
        m_phase = counting;
        m_samples.start(Clock::now());
        awaitPhase();
        try {
            m_startCapture();
        } catch (std::exception const & error) {
            m_failure = std::current_exception();
            ending({EndReason::failed, 0, error.what()});
        } catch (...) {
            std::string const text = caughtText();
            m_failure = std::make_exception_ptr(CFailure(exitFailure, text));
            ending({EndReason::failed, 0, text});
        }
    }

    void tick()
    {
        sampleAll();
        if (auto const missed = m_samples.goOn(Clock::now()); missed > 0)
            m_log.warnOfCount("samples missed for want of time", missed);
        awaitPhase();
    }

    void sampleAll()
    {
        try {
            m_adapter.initSnapshot(m_manager);
        } catch (...) {
            m_log.error("the adapter's counters can't be had: " + caughtText());
        }
        m_links.sample();
    }

    void lookAgain()
    {
        auto const watched = m_service.watchdogInterval();
        m_look.expires_after(watched ? std::min<Clock::duration>(*watched, beforeNextLook) : beforeNextLook);
        m_look.async_wait([this](auto error) {
            m_looks = false;
            if (error)
                return;
            lookForEnd();
            look();
            lookAgain();
        });
        m_looks = true;
    }

    // After what nobody tells of.
    void look()
    {
        m_service.alive();
        m_service.status(fmt::format(
            "{} frames, {} consoles",
            m_manager.getAgentStatistic().globalStatistics.transmittedFrames.shared(), m_links.serving()));
        m_listener.revive();
        sweep();
        m_memory.look([this](std::string const & why) { return m_links.refuseLast(why); });
        m_log.settle();
        endIfDone();
    }

    void sweep()
    {
        if (m_links.sweep())
            m_memory.mayReturn();
    }

    void lookForEnd()
    {
        std::optional<CEnd> end;
        {
            std::scoped_lock const lock(m_mutex);
            end.swap(m_captureEnd);
        }
        if (end && m_phase <= counting)
            ending(*end);
    }

    void ending(CEnd const & end)
    {
        m_service.stopping();
        m_end = end;
        if (m_interrupted && m_end.reason == EndReason::ended)
            m_end.reason = EndReason::interrupted;
        m_phase = isEnding;
        m_phaseEnd = Clock::now() + beforeLastSample;
        awaitPhase();
    }

    void linger()
    {
        m_phase = lingering;
        m_phaseEnd = Clock::now() + (m_interrupted ? milliseconds(0) : m_options.linger);
        sampleAll();
        m_links.end(m_end);
        awaitPhase();
    }

    void close()
    {
        m_phase = over;
        m_phaseEnd = Clock::now() + (m_interrupted ? afterSignal : afterEnd);
        m_listener.close();
        // Those that never said hello have nothing to wait for.
        m_links.closeIdle();
        gone();
        awaitPhase();
    }

    void joined()
    {
        startIfEnough();
        // It has had its full sample.
        if (m_phase >= lingering)
            m_links.end(m_end);
    }

    void gone()
    {
        // Called from within the links themselves.
        asio::post(m_io, [this] {
            sweep();
            endIfDone();
        });
    }

    void endIfDone()
    {
        if (m_phase == over && m_links.empty())
            m_io.stop();
    }

    asio::io_context m_io;
    KetStats::CKetrinStatManager & m_manager;
    CServerOptions m_options;
    CLog & m_log;
    CServiceManager & m_service;
    std::function<void()> m_startCapture;
    std::function<void()> m_stopCapture;
    KetStats::CStatSnapshot m_adapter; // asks the adapter for its counters whenever it is initialised
    CAgentWelcome m_welcome;
    CLinkContext m_context;
    CConsoleLinks m_links;
    CListener m_listener;
    CRecurrence m_samples;
    CSignals m_signals;
    CMemoryCeiling m_memory;
    asio::steady_timer m_timer{m_io}; // of the phase
    asio::steady_timer m_look{m_io};
    bool m_timed = false; // whether it is under way, as is the next
    bool m_looks = false;
    Phase m_phase = waiting;
    Clock::time_point m_phaseEnd{}; // of ending and lingering
    bool m_interrupted = false;     // by a signal
    CEnd m_end;                     // once it is ending
    std::exception_ptr m_failure;
    std::mutex m_mutex;
    std::optional<CEnd> m_captureEnd; // under the mutex, until it is seen
};

CAgentServer::CAgentServer(KetStats::CKetrinStatManager & manager, CServerOptions const & options,
                           CServed const & served, CLog & log, CServiceManager & service,
                           std::function<void()> startCapture, std::function<void()> stopCapture)
    : m_server(std::make_unique<CServer>(manager, options, served, log, service, std::move(startCapture),
                                         std::move(stopCapture)))
{}

CAgentServer::~CAgentServer() = default;

CEndpoint CAgentServer::endpoint() const
{
    return m_server->endpoint();
}

bool CAgentServer::isNear() const
{
    return m_server->isNear();
}

void CAgentServer::run()
{
    m_server->run();
}

void CAgentServer::captureEnded(CEnd const & end) noexcept
{
    m_server->captureEnded(end);
}

} // namespace ketmon
