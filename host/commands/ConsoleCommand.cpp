#include "host/commands/ConsoleCommand.h"

#include "host/console/ConsoleView.h"
#include "host/render/TableChoice.h"
#include "host/support/Failure.h"
#include "host/support/OptionChecks.h"
#include "host/wire/Asio.h"
#include "host/wire/Fingerprint.h"
#include "host/wire/Protocol.h"
#include "host/wire/SnapshotBytes.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <fmt/core.h>

#include <csignal>
#include <memory>

namespace ketmon {

using boost::asio::ip::tcp;

namespace {

constexpr std::chrono::seconds timeToGreet(10);

// The console's end of a connection. Everything runs on the thread that calls `run`.
class CConsole
{
public:
    explicit CConsole(CConsoleOptions const & options)
        : m_options(options),
          m_endpoint(CEndpoint::parsed(options.agent)),
          m_selection(parsedChoice(options.report.select)),
          m_view(options.report, m_selection, m_endpoint.toString())
    {}

    void run()
    {
        m_signals.add(SIGINT);
        m_signals.add(SIGTERM);
        m_signals.async_wait([this](auto error, int) {
            if (!error)
                m_io.stop();
        });
        m_timer.expires_after(timeToGreet);
        m_timer.async_wait([this](auto error) {
            if (!error)
                fail("the agent doesn't answer");
        });
        connect();
        m_io.run();
    }

private:
    [[noreturn]] void fail(std::string const & reason) const
    {
        throw CFailure(exitFailure, fmt::format("{}: {}", m_endpoint.toString(), reason));
    }

    void connect()
    {
        CErrorCode error;
        auto const addresses = tcp::resolver(m_io).resolve(
            m_endpoint.address, std::to_string(m_endpoint.port), tcp::resolver::numeric_service, error);
        if (error)
            fail(error.message());
        asio::async_connect(m_socket, addresses, [this](auto refused, auto const &) {
            if (refused)
                fail(refused.message());
            CGreeting greeting;
            greeting.fingerprint = schemaFingerprint();
            for (KetStats::COid const & oid : m_selection.oids())
                greeting.selection.push_back(oid.toString());
            m_hello = encoded(MessageType::hello, greeting.hello());
            asio::async_write(m_socket, asio::buffer(m_hello), [this](auto lost, auto) {
                if (lost)
                    fail(lost.message());
                receive();
            });
        });
    }

    void receive()
    {
        m_socket.async_read_some(asio::buffer(m_block), [this](auto error, auto count) {
            if (error == asio::error::eof)
                fail("the agent closed the connection");
            if (error)
                fail(error.message());
            try {
                m_reader.feed({m_block.data(), count});
                CMessage message;
                while (!m_io.stopped() && m_reader.next(message))
                    received(message);
            } catch (CProtocolError const & problem) {
                fail(problem.what());
            } catch (CDamagedSnapshot const & damage) {
                fail(fmt::format("a damaged snapshot: {}", damage.what()));
            }
            if (!m_io.stopped())
                receive();
        });
    }

    void received(CMessage const & message)
    {
        bool const sample = message.type == MessageType::full || message.type == MessageType::delta;
        if (message.type == MessageType::refusal)
            fail("refused: " + message.body);
        if (!m_welcome) {
            if (message.type != MessageType::welcome)
                throw CProtocolError("no agent of ketmon's answers");
            static_cast<void>(CGreeting::parsedWelcome(message.body, schemaFingerprint()));
            m_welcome = true;
            m_timer.cancel();
        } else if (sample && (m_samples > 0) == (message.type == MessageType::delta)) {
            unpack(m_snapshot, message.body);
            m_snapshot.calculatePercentStats();
            m_view.show(m_snapshot);
            if (++m_samples == m_options.count)
                m_io.stop();
        } else if (message.type == MessageType::end && m_samples > 0) {
            m_view.showLast(m_snapshot, parsedEnd(message.body));
            m_io.stop();
        } else {
            throw CProtocolError("a message doesn't belong here");
        }
    }

    asio::io_context m_io;
    CConsoleOptions m_options;
    CEndpoint m_endpoint;
    CSelection m_selection;
    CConsoleView m_view;
    KetStats::CStatSnapshot m_snapshot;
    tcp::socket m_socket{m_io};
    asio::signal_set m_signals{m_io};
    asio::steady_timer m_timer{m_io};
    CMessageReader m_reader{largestToConsole};
    std::string m_hello;
    std::array<char, 65536> m_block{};
    bool m_welcome = false;
    unsigned long long m_samples = 0;
};

} // namespace

void addConsoleCommand(CLI::App & app)
{
    auto const options = std::make_shared<CConsoleOptions>();
    CLI::App * const command = app.add_subcommand("console", "Show what an agent counts, as it counts");
    command->footer("Counts start at the moment of connecting; ARP connections, IP subprotocols and IP\n"
                    "ports show what the agent has counted altogether.");
    command->add_option("AGENT", options->agent, "Where the agent listens")
        ->capture_default_str()
        ->type_name("ADDRESS:PORT");
    command->add_option("--count", options->count, "End after so many samples")
        ->check(notEmpty())
        ->type_name("N");
    addReportOptions(*command, options->report);
    command->callback([options] { runConsole(*options); });
}

void runConsole(CConsoleOptions const & options)
{
    check(options.report);
    auto const console = std::make_unique<CConsole>(options);
    console->run();
}

} // namespace ketmon
