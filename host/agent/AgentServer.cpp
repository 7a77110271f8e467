#include "host/agent/AgentServer.h"

#include "host/agent/ConsoleLinks.h"
#include "host/agent/Listener.h"
#include "host/live/Groups.h"
#include "host/support/Output.h"
#include "host/wire/Fingerprint.h"
#include "host/wire/SampleTime.h"

#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <fmt/core.h>

#include <algorithm>
#include <csignal>

namespace ketmon {

using std::chrono::milliseconds;

namespace {

// A sample needs more than a millisecond since the one before to count anything.
constexpr milliseconds beforeLastSample(20);
constexpr milliseconds shortestHeartbeat(1000);
constexpr milliseconds longestHeartbeat(5000);

long long now()
{
    KetStats::CSystemTime time;
    time.getSystemTime();
    return ticksOf(time);
}

CWelcome welcomeOf(KetStats::CKetrinStatManager & manager, CServerOptions const & options,
                   CServed const & served)
{
    CWelcome welcome;
    welcome.fingerprint = schemaFingerprint();
    welcome.interval = static_cast<std::uint32_t>(options.interval.count());
    welcome.heartbeat =
        static_cast<std::uint32_t>(std::clamp(options.interval, shortestHeartbeat, longestHeartbeat).count());
    welcome.identity = served.identity;
    welcome.epoch = now();
    welcome.groups = countedGroups(manager).to_ulong();
    welcome.errors = served.errors;
    welcome.kind = served.kind;
    welcome.linkSpeed = served.linkSpeed;
    welcome.limits = manager.limits();
    welcome.source = served.source;
    welcome.agent = served.agent;
    return welcome;
}

} // namespace

class CAgentServer::CServer
{
public:
    CServer(KetStats::CKetrinStatManager & manager, CServerOptions const & options, CServed const & served,
            std::function<void()> startCapture, std::function<void()> stopCapture)
        : m_manager(manager),
          m_options(options),
          m_startCapture(std::move(startCapture)),
          m_stopCapture(std::move(stopCapture)),
          m_adapter(manager.limits()),
          m_context{manager,
                    m_shape,
                    welcomeOf(manager, options, served),
                    options.backlog,
                    served.counters,
                    [this] { joined(); },
                    [this] { gone(); },
                    [this](std::string const & line, bool always) { log(line, always); }},
          m_listener(
              m_io, options.listen, [this](auto socket) { m_links.add(std::move(socket)); },
              [this](std::string const & why) { log("can't accept a console: " + why, true); })
    {
        m_signals.add(SIGINT);
        m_signals.add(SIGTERM);
        awaitSignal();
    }

    CEndpoint endpoint() const { return m_listener.endpoint(); }

    void run()
    {
        startIfEnough();
        m_io.run();
        m_links.closeAll();
    }

    void captureEnded(CEnd const & end)
    {
        asio::post(m_io, [this, end] { ending(end); });
    }

private:
    enum Phase
    {
        waiting,
        counting,
        isEnding,
        lingering,
        over,
    };

    void awaitSignal()
    {
        m_signals.async_wait([this](auto error, int) {
            if (error)
                return;
            if (m_interrupted || m_phase >= lingering) {
                m_io.stop();
                return;
            }
            m_interrupted = true;
            awaitSignal();
            if (m_phase == waiting)
                ending({});
            else
                m_stopCapture();
        });
    }

    void startIfEnough()
    {
        if (m_phase != waiting || m_links.serving() < m_options.consoles)
            return;
        m_phase = counting;
        tick();
        m_startCapture();
    }

    void tick()
    {
        m_timer.expires_after(m_options.interval);
        m_timer.async_wait([this](auto error) {
            // One that is due already when it is cancelled comes here without an error.
            if (error || m_phase != counting)
                return;
            sampleAll();
            tick();
        });
    }

    void sampleAll()
    {
        m_adapter.initSnapshot(m_manager);
        m_links.sample();
    }

    void ending(CEnd const & end)
    {
        m_end = end;
        if (m_interrupted && m_end.reason == EndReason::ended)
            m_end.reason = EndReason::interrupted;
        m_phase = isEnding;
        m_timer.expires_after(beforeLastSample);
        m_timer.async_wait([this](auto error) {
            if (!error)
                linger();
        });
    }

    void linger()
    {
        m_phase = lingering;
        sampleAll();
        m_links.end(m_end);
        m_timer.expires_after(m_interrupted ? milliseconds(0) : m_options.linger);
        m_timer.async_wait([this](auto error) {
            if (error)
                return;
            m_phase = over;
            m_listener.close();
            // Those that never said hello have nothing to wait for.
            m_links.closeIdle();
            gone();
        });
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
            m_links.sweep();
            if (m_phase == over && m_links.empty())
                m_io.stop();
        });
    }

    void log(std::string const & line, bool always) const
    {
        if (always || !m_options.quiet)
            tell(line);
    }

    asio::io_context m_io;
    KetStats::CKetrinStatManager & m_manager;
    CServerOptions m_options;
    std::function<void()> m_startCapture;
    std::function<void()> m_stopCapture;
    KetStats::CAgentStatistic m_shape;
    KetStats::CStatSnapshot m_adapter; // asks the adapter for its counters whenever it is initialised
    CLinkContext m_context;
    CConsoleLinks m_links{m_context};
    CListener m_listener;
    asio::steady_timer m_timer{m_io}; // of the phase
    asio::signal_set m_signals{m_io};
    Phase m_phase = waiting;
    bool m_interrupted = false; // by a signal
    CEnd m_end;                 // once it is ending
};

CAgentServer::CAgentServer(KetStats::CKetrinStatManager & manager, CServerOptions const & options,
                           CServed const & served, std::function<void()> startCapture,
                           std::function<void()> stopCapture)
    : m_server(std::make_unique<CServer>(manager, options, served, std::move(startCapture),
                                         std::move(stopCapture)))
{}

CAgentServer::~CAgentServer() = default;

CEndpoint CAgentServer::endpoint() const
{
    return m_server->endpoint();
}

void CAgentServer::run()
{
    m_server->run();
}

void CAgentServer::captureEnded(CEnd const & end)
{
    m_server->captureEnded(end);
}

} // namespace ketmon
