#include "host/agent/AgentServer.h"

#include "host/agent/ConsoleLink.h"
#include "host/support/Failure.h"
#include "host/wire/Fingerprint.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <fmt/core.h>

#include <algorithm>
#include <csignal>
#include <vector>

namespace ketmon {

using boost::asio::ip::tcp;

namespace {

// Each costs the memory of three trees.
constexpr std::size_t mostConsoles = 100;
// A sample needs more than a millisecond since the one before to count anything.
constexpr std::chrono::milliseconds beforeLastSample(20);
constexpr std::chrono::milliseconds beforeNextAccept(100);

} // namespace

class CAgentServer::CServer
{
public:
    CServer(KetStats::CKetrinStatManager & manager, CServerOptions const & options,
            std::function<void()> startCapture, std::function<void()> stopCapture)
        : m_manager(manager),
          m_options(options),
          m_startCapture(std::move(startCapture)),
          m_stopCapture(std::move(stopCapture)),
          m_context{manager,
                    m_shape,
                    static_cast<std::uint32_t>(options.interval.count()),
                    options.backlog,
                    [this] { joined(); },
                    [this] { gone(); },
                    [this](std::string const & line, bool always) { log(line, always); }}
    {
        static_cast<void>(schemaFingerprint());
        listen();
        m_signals.add(SIGINT);
        m_signals.add(SIGTERM);
        awaitSignal();
        accept();
    }

    CEndpoint endpoint() const
    {
        auto const local = m_acceptor.local_endpoint();
        return {local.address().to_string(), local.port()};
    }

    void run()
    {
        startIfEnough();
        m_io.run();
        for (auto const & link : m_links)
            link->close();
    }

    void captureEnded(unsigned long long frames)
    {
        asio::post(m_io, [this, frames] {
            m_frames = frames;
            m_ended = true;
            m_tick.cancel();
            m_endTimer.expires_after(beforeLastSample);
            m_endTimer.async_wait([this](auto error) {
                if (!error)
                    endConsoles();
            });
        });
    }

private:
    void listen()
    {
        try {
            tcp::resolver resolver(m_io);
            auto const found =
                resolver.resolve(m_options.listen.address, std::to_string(m_options.listen.port),
                                 tcp::resolver::passive | tcp::resolver::numeric_service);
            m_acceptor = tcp::acceptor(m_io, found.begin()->endpoint());
        } catch (boost::system::system_error const & error) {
            throw CFailure(exitFailure, fmt::format("can't listen on {}: {}", m_options.listen.toString(),
                                                    error.code().message()));
        }
    }

    void accept()
    {
        m_acceptor.async_accept([this](auto error, tcp::socket socket) {
            if (error == asio::error::operation_aborted)
                return;
            if (error) {
                // As with no descriptors left: what ends next may help, but trying at once won't.
                log("can't accept a console: " + error.message(), true);
                m_acceptTimer.expires_after(beforeNextAccept);
                m_acceptTimer.async_wait([this](auto cancelled) {
                    if (!cancelled)
                        accept();
                });
                return;
            }
            if (m_links.size() < mostConsoles) {
                m_links.push_back(std::make_shared<CConsoleLink>(std::move(socket), m_context));
                m_links.back()->start();
            } else {
                log(fmt::format("a console was turned away: there are {} already", mostConsoles), true);
            }
            accept();
        });
    }

    void awaitSignal()
    {
        m_signals.async_wait([this](auto error, int) {
            if (error)
                return;
            if (m_interrupted || m_over) {
                m_io.stop();
                return;
            }
            m_interrupted = true;
            awaitSignal();
            if (m_started)
                m_stopCapture();
            else
                captureEnded(0);
        });
    }

    void startIfEnough()
    {
        auto const serving =
            std::count_if(m_links.begin(), m_links.end(), [](auto const & link) { return link->serving(); });
        if (m_started || m_interrupted || serving < static_cast<std::ptrdiff_t>(m_options.consoles))
            return;
        m_started = true;
        tick();
        m_startCapture();
    }

    void tick()
    {
        m_tick.expires_after(m_options.interval);
        m_tick.async_wait([this](auto error) {
            // One that is due already when it is cancelled comes here without an error.
            if (error || m_ended)
                return;
            sampleAll();
            tick();
        });
    }

    // A link that is dropped meanwhile stays in its place until the round is over.
    void sampleAll()
    {
        m_adapter.initSnapshot(m_manager);
        for (auto const & link : std::vector(m_links))
            link->sample();
    }

    void endConsoles()
    {
        m_over = true;
        sampleAll();
        for (auto const & link : std::vector(m_links))
            link->end(m_frames);
        m_endTimer.expires_after(m_interrupted ? std::chrono::milliseconds(0) : m_options.linger);
        m_endTimer.async_wait([this](auto error) {
            if (error)
                return;
            m_lingered = true;
            CErrorCode ignored;
            m_acceptor.close(ignored);
            m_acceptTimer.cancel();
            // Links that never said hello have nothing to wait for.
            for (auto const & link : std::vector(m_links))
                if (!link->leaving())
                    link->close();
            gone();
        });
    }

    void joined()
    {
        if (m_over) {
            // It has had its full sample.
            for (auto const & link : std::vector(m_links))
                link->end(m_frames);
            return;
        }
        startIfEnough();
    }

    void gone()
    {
        // Called from within the links themselves.
        asio::post(m_io, [this] {
            std::erase_if(m_links, [](auto const & link) { return link->closed(); });
            if (m_lingered && m_links.empty())
                m_io.stop();
        });
    }

    void log(std::string const & line, bool always) const
    {
        if (always || !m_options.quiet)
            fmt::print(stderr, "ketmon: {}\n", line);
    }

    asio::io_context m_io;
    KetStats::CKetrinStatManager & m_manager;
    CServerOptions m_options;
    std::function<void()> m_startCapture;
    std::function<void()> m_stopCapture;
    KetStats::CAgentStatistic m_shape;
    KetStats::CStatSnapshot m_adapter; // asks the adapter for its counters whenever it is initialised
    CLinkContext m_context;
    std::vector<std::shared_ptr<CConsoleLink>> m_links;
    tcp::acceptor m_acceptor{m_io};
    asio::steady_timer m_acceptTimer{m_io};
    asio::steady_timer m_tick{m_io};
    asio::steady_timer m_endTimer{m_io};
    asio::signal_set m_signals{m_io};
    unsigned long long m_frames = 0;
    bool m_started = false;     // the capture was
    bool m_interrupted = false; // by a signal
    bool m_ended = false;       // the capture has
    bool m_over = false;        // the consoles were told
    bool m_lingered = false;    // nobody is waited for any more
};

CAgentServer::CAgentServer(KetStats::CKetrinStatManager & manager, CServerOptions const & options,
                           std::function<void()> startCapture, std::function<void()> stopCapture)
    : m_server(std::make_unique<CServer>(manager, options, std::move(startCapture), std::move(stopCapture)))
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

void CAgentServer::captureEnded(unsigned long long frames)
{
    m_server->captureEnded(frames);
}

} // namespace ketmon
