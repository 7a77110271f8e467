#include "host/console/Console.h"

#include "host/console/AgentLink.h"
#include "host/console/ConsoleView.h"
#include "host/live/ReceivedTree.h"
#include "host/render/TableChoice.h"
#include "host/support/Failure.h"
#include "host/wire/SnapshotBytes.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <fmt/core.h>

#include <csignal>
#include <exception>
#include <optional>

namespace ketmon {

using asio::ip::tcp;

namespace {

constexpr std::chrono::seconds timeToConnect(10);

// From the name of an agent to its end, on the thread that calls `run`.
//
//     resolving ---> connecting ---> linked ---enough samples, end, signal---> done
//         |              |             |                                         ^
//         +--------------+-------------+------------failure, which run() throws--+
class CConsole
{
public:
    explicit CConsole(CConsoleOptions const & options)
        : m_options(options),
          m_endpoint(CEndpoint::parsed(options.agent)),
          m_selection(parsedChoice(options.report.select)),
          m_view(options.report)
    {}

    void run()
    {
        m_signals.add(SIGINT);
        m_signals.add(SIGTERM);
        m_signals.async_wait([this](auto error, int) {
            if (!error)
                m_io.stop();
        });
        m_deadline.expires_after(timeToConnect);
        m_deadline.async_wait([this](auto error) {
            if (!error && !m_link)
                fail("the agent doesn't answer");
        });
        resolve();
        m_io.run();
        if (m_link)
            m_link->close();
        if (m_failure)
            std::rethrow_exception(m_failure);
    }

private:
    void resolve()
    {
        m_resolver.async_resolve(m_endpoint.address, std::to_string(m_endpoint.port),
                                 tcp::resolver::numeric_service, [this](auto error, auto const & addresses) {
                                     if (error)
                                         fail(error.message());
                                     else
                                         connect(addresses);
                                 });
    }

    void connect(tcp::resolver::results_type const & addresses)
    {
        asio::async_connect(m_socket, addresses, [this](auto error, auto const &) {
            if (error)
                fail(error.message());
            else
                begin();
        });
    }

    void begin()
    {
        m_deadline.cancel();
        std::vector<std::string> selection;
        for (KetStats::COid const & oid : m_selection.oids())
            selection.push_back(oid.toString());
        m_link = std::make_shared<CAgentLink>(
            CMessageStream::CSocket(std::move(m_socket)), selection,
            CAgentEvents{[this](CWelcome const & welcome) {
                             m_tree.emplace(welcome, m_selection, m_endpoint.toString());
                         },
                         [this](CMessage const & message) { sampled(message); },
                         [this](CEnd const & end) { ended(end); },
                         [this](std::string const & why) { fail(why); }});
        m_link->start();
    }

    void sampled(CMessage const & message)
    {
        try {
            m_tree->take(message);
        } catch (CDamagedSnapshot const & damage) {
            throw CProtocolError(fmt::format("a damaged snapshot: {}", damage.what()));
        }
        show(nullptr);
        if (++m_samples == m_options.count)
            m_io.stop();
    }

    void ended(CEnd const & end)
    {
        show(&end);
        if (end.reason == EndReason::failed)
            fail("the agent failed: " + shownText(end.text));
        else if (end.reason == EndReason::interfaceGone)
            fail("the agent lost its interface: " + shownText(end.text));
        m_io.stop();
    }

    void show(CEnd const * end)
    {
        try {
            m_view.show(*m_tree, end);
        } catch (...) {
            stopWith(std::current_exception());
        }
    }

    void fail(std::string const & why)
    {
        stopWith(std::make_exception_ptr(
            CFailure(exitFailure, fmt::format("{}: {}", m_endpoint.toString(), why))));
    }

    // The first failure is what matters.
    void stopWith(std::exception_ptr const & failure)
    {
        if (!m_failure)
            m_failure = failure;
        m_io.stop();
    }

    asio::io_context m_io;
    CConsoleOptions m_options;
    CEndpoint m_endpoint;
    CSelection m_selection;
    CConsoleView m_view;
    tcp::resolver m_resolver{m_io};
    tcp::socket m_socket{m_io};
    asio::signal_set m_signals{m_io};
    asio::steady_timer m_deadline{m_io}; // of the connection
    std::shared_ptr<CAgentLink> m_link;
    std::optional<CReceivedTree> m_tree; // once welcomed
    unsigned long long m_samples = 0;
    std::exception_ptr m_failure;
};

} // namespace

void follow(CConsoleOptions const & options)
{
    CConsole(options).run();
}

} // namespace ketmon
