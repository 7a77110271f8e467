#include "host/console/Console.h"

#include "host/console/AgentLink.h"
#include "host/console/ConsoleView.h"
#include "host/console/RetryWaits.h"
#include "host/console/SignalWatch.h"
#include "host/live/ReceivedTree.h"
#include "host/render/TableChoice.h"
#include "host/support/Failure.h"
#include "host/support/Interrupt.h"
#include "host/wire/NameLookup.h"
#include "host/wire/SnapshotBytes.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <fmt/core.h>

#include <chrono>
#include <exception>
#include <optional>
#include <random>

namespace ketmon {

namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds timeToConnect(10);

// From the name of an agent to its end, on the thread that calls `run`.
//
//     resolving ---> connecting ---> linked ---enough samples, end, signal---> done
//       ^ |              |             |                                        ^
//       | +--------------+-------------+----failure, which run() throws---------+
//       |                |             |
//       +----time is up--+---waiting <-+    once samples came
class CConsole
{
public:
    explicit CConsole(CConsoleOptions const & options)
        : m_options(options),
          m_endpoint(CEndpoint::parsed(options.agent)),
          m_selection(parsedChoice(options.report.select)),
          m_view(options.report, m_interrupt)
    {}

    void run()
    {
        CSignalWatch const signals([this] {
            m_interrupt.raise();
            m_io.stop();
        });
        connect();
        m_io.run();
        if (m_link)
            m_link->close();
        if (m_failure)
            std::rethrow_exception(m_failure);
    }

private:
    void connect()
    {
        m_bothTrees = true; // another one may have taken its place
        connectAnew();
    }

    void connectAnew()
    {
        m_link.reset();
        m_timer.expires_after(timeToConnect);
        m_timer.async_wait([this](auto error) {
            if (!error && !m_link)
                fail("the agent doesn't answer", true);
        });
        m_lookup.find(m_endpoint, [this](auto error, auto const & endpoints) {
            if (error)
                fail(error.message(), true);
            else
                connectTo(endpoints);
        });
    }

    void connectTo(std::vector<CStreamEndpoint> const & endpoints)
    {
        for (CStreamEndpoint const & endpoint : endpoints)
            if (!m_options.plain && !isNear(endpoint)) {
                fail("it is on another machine, and nothing protects what it says on its way; say --plain if "
                     "that is "
                     "meant",
                     false, exitBadInput);
                return;
            }
        m_socket = CStreamSocket(m_io);
        asio::async_connect(m_socket, endpoints, [this](auto error, auto const &) {
            if (error == asio::error::operation_aborted)
                return;
            if (error)
                fail(error.message(), true);
            else
                begin();
        });
    }

    void begin()
    {
        m_timer.cancel();
        m_waits.connected(CRetryWaits::Clock::now());
        tune(m_socket);
        std::vector<std::string> selection;
        for (KetStats::COid const & oid : m_selection.oids())
            if (m_bothTrees || oid[0] != KetStats::CExtendedStatistic::rootId)
                selection.push_back(oid.toString());
        m_link = std::make_shared<CAgentLink>(
            std::move(m_socket), selection, m_bothTrees,
            CAgentEvents{[this](CWelcome const & welcome) {
                             m_tree.emplace(welcome, m_selection, m_endpoint.toString());
                         },
                         [this](CMessage const & message) { sampled(message); },
                         [this](CEnd const & end) { ended(end); },
                         [this](std::string const & why) { askForFirstTree(why); },
                         [this](std::string const & why, bool again) { fail(why, again); }});
        m_link->start();
    }

    void sampled(CMessage const & message)
    {
        try {
            m_tree->take(message);
        } catch (CDamagedSnapshot const & damage) {
            throw CProtocolError(fmt::format("a damaged snapshot: {}", damage.what()));
        }
        m_waits.sampled();
        CSampleHead const & head = m_tree->head();
        std::optional<CGap> gap;
        if (m_lastMoment && head.sequence == 1)
            gap = CGap{*m_lastMoment, head.zero};
        m_lastMoment = head.moment;
        show(nullptr, gap);
        if (++m_samples != m_options.count)
            return;
        // More of them may have come in one piece with it.
        m_link->close();
        m_io.stop();
    }

    void ended(CEnd const & end)
    {
        show(&end, {});
        if (end.reason == EndReason::failed)
            fail("the agent failed: " + shownText(end.text), false);
        else if (end.reason == EndReason::interfaceGone)
            fail("the agent lost its interface: " + shownText(end.text), false);
        m_io.stop();
    }

    void show(CEnd const * end, std::optional<CGap> const & gap)
    {
        try {
            m_view.show(*m_tree, end, gap);
        } catch (...) {
            stopWith(std::current_exception());
        }
    }

    void askForFirstTree(std::string const & why)
    {
        if (!m_selection.covers(KetStats::COid("1")) && m_selection.touches(KetStats::COid("2"))) {
            fail(why, false);
            return;
        }
        m_bothTrees = false;
        asio::post(m_io, [this] { connectAnew(); }); // once the link is done with this
    }

    void fail(std::string const & why, bool again, ExitCode exitCode = exitFailure)
    {
        std::string const what = fmt::format("{}: {}", m_endpoint.toString(), why);
        if (again && !m_options.noReconnect && m_lastMoment && !m_failure)
            waitAndConnect(what);
        else
            stopWith(std::make_exception_ptr(CFailure(exitCode, what)));
    }

    void waitAndConnect(std::string const & why)
    {
        CErrorCode ignored;
        m_socket.close(ignored);
        // Not all at once, when an agent comes back that many wait for.
        std::uniform_real_distribution<double> around(0.75, 1.25);
        auto const wait = std::chrono::duration_cast<milliseconds>(m_waits.next(CRetryWaits::Clock::now()) *
                                                                   around(m_random));
        try {
            m_view.lost(*m_tree, why, wait);
        } catch (...) {
            stopWith(std::current_exception());
            return;
        }
        m_timer.expires_after(wait);
        m_timer.async_wait([this](auto error) {
            if (!error)
                connect();
        });
    }

    // The first failure is what matters, and none that comes of being told to end.
    void stopWith(std::exception_ptr const & failure)
    {
        if (!m_failure && !m_interrupt.raised())
            m_failure = failure;
        m_io.stop();
    }

    asio::io_context m_io;
    CInterrupt m_interrupt; // once a signal came
    CConsoleOptions m_options;
    CEndpoint m_endpoint;
    CSelection m_selection;
    CConsoleView m_view;
    CNameLookup m_lookup{m_io};
    CStreamSocket m_socket{m_io};
    asio::steady_timer m_timer{m_io}; // of a connection that is being made, or waited for
    std::shared_ptr<CAgentLink> m_link;
    bool m_bothTrees = true;               // asked for
    std::optional<CReceivedTree> m_tree;   // once welcomed
    std::optional<long long> m_lastMoment; // of the last sample, in ticks
    unsigned long long m_samples = 0;
    CRetryWaits m_waits;
    std::minstd_rand m_random{std::random_device()()};
    std::exception_ptr m_failure;
};

} // namespace

void follow(CConsoleOptions const & options)
{
    CConsole(options).run();
}

} // namespace ketmon
