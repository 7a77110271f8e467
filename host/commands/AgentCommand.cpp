#include "host/commands/AgentCommand.h"

#include "host/capture/FrameFeed.h"
#include "host/capture/LiveCapture.h"
#include "host/capture/OpenCapture.h"
#include "host/support/Failure.h"
#include "host/support/OptionChecks.h"
#include "host/support/Output.h"

#include "ketstats/ketstats.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <memory>
#include <thread>

namespace ketmon {

using KetStats::CKetrinStatManager;

namespace {

std::chrono::milliseconds milliseconds(double seconds)
{
    return std::chrono::milliseconds(static_cast<long long>(seconds * 1000.0));
}

// The thread on which frames are read and analysed.
class CCaptureThread
{
public:
    CCaptureThread(CKetrinStatManager & manager, CCaptureSource & source, CFeedOptions const & options)
        : m_manager(manager),
          m_source(source),
          m_options(options)
    {}

    // `ended` is called on the thread, as its last deed.
    void start(std::function<void(CEnd const & end)> ended)
    {
        m_thread = std::jthread([this, ended = std::move(ended)](std::stop_token const & stop) {
            unsigned long long frames = 0;
            CEnd end;
            try {
                feedFrames(m_manager, m_source, m_options, stop, frames);
            } catch (CInterfaceGone const & failure) {
                m_failure = std::current_exception();
                end = {EndReason::interfaceGone, 0, failure.what()};
            } catch (std::exception const & failure) {
                m_failure = std::current_exception();
                end = {EndReason::failed, 0, failure.what()};
            }
            end.frames = frames;
            ended(end);
        });
    }

    void stop()
    {
        m_thread.request_stop();
        m_source.stop();
    }

    // Ends the thread. Throws what it failed with.
    void join()
    {
        if (!m_thread.joinable())
            return;
        stop();
        m_thread.join();
        if (m_failure)
            std::rethrow_exception(m_failure);
    }

private:
    CKetrinStatManager & m_manager;
    CCaptureSource & m_source;
    CFeedOptions m_options;
    std::exception_ptr m_failure; // written by the thread, read behind its end
    std::jthread m_thread;
};

CInput inputOf(CAgentOptions const & options)
{
    if (!options.interface.empty())
        return openLiveCapture(options.interface, options.filter, options.analysis.linkSpeed);
    CInput input;
    input.hook = std::make_unique<CFileHook>(options.analysis.linkSpeed);
    input.source = openCapture(options.file);
    return input;
}

std::string environment(char const * name)
{
    char const * const value = std::getenv(name);
    return value ? value : "";
}

CServed servedBy(CAgentOptions const & options, CInput const & input)
{
    CServed served;
    served.agent = options.name.empty() ? hostName() : options.name;
    // Where a service manager gives its services a folder of their own, it is named there.
    served.identity = options.identity.empty() ? keptIdentity(environment("STATE_DIRECTORY"))
                                               : parsedIdentity(options.identity);
    served.kind = options.file.empty() ? SourceKind::interface : SourceKind::file;
    served.source = options.file.empty() ? options.interface : options.file;
    served.linkSpeed = static_cast<std::uint64_t>(std::max(0L, input.hook->GetLinkSpeed()));
    served.errors = input.errors;
    served.counters = input.counters;
    return served;
}

} // namespace

void addAgentCommand(CLI::App & app)
{
    auto const options = std::make_shared<CAgentOptions>();
    CLI::App * const command =
        app.add_subcommand("agent", "Count frames and serve the statistics to consoles over TCP");
    command->footer("The address that it listens on is printed as the first line. Whoever reaches that\n"
                    "address can read the statistics; there is no password and no encryption.");
    CLI::Option * const file = command->add_option("-r,--read", options->file, "Replay a capture file");
    file->type_name("FILE");
    command
        ->add_option("--pace", options->pace,
                     "How many times faster than it was captured the file is replayed; 0 for as fast as it "
                     "can be read")
        ->check(atLeast(0))
        ->capture_default_str()
        ->needs(file)
        ->type_name("FACTOR");
    CLI::Option * const interface =
        command->add_option("-i,--interface", options->interface, "Count what passes a network interface");
    interface->excludes(file)->type_name("INTERFACE");
    command
        ->add_option("-f,--filter", options->filter,
                     "Count only what passes this filter of libpcap's, such as 'not port 22'")
        ->needs(interface)
        ->type_name("EXPRESSION");
    command->add_option("--listen", options->listen, "Where consoles connect; port 0 picks a free one")
        ->capture_default_str()
        ->type_name("ADDRESS:PORT");
    command->add_option("--interval", options->interval, "Time between two samples")
        ->check(between(0.001, 86400))
        ->capture_default_str()
        ->type_name("SECONDS");
    command
        ->add_option("--consoles", options->server.consoles,
                     "Start counting only when so many consoles are connected, so that they see every frame")
        ->check(notEmpty())
        ->type_name("N");
    command
        ->add_option("--linger", options->linger,
                     "Stay for so long after the last frame, for consoles that come late")
        ->check(between(0, 86400))
        ->type_name("SECONDS");
    command
        ->add_option("--backlog", options->server.backlog,
                     "Bytes that may wait for a console before it is dropped")
        ->check(notEmpty())
        ->capture_default_str()
        ->type_name("BYTES");
    command
        ->add_option("--name", options->name,
                     "What consoles call the agent; the name of this machine unless given")
        ->check(notEmpty())
        ->type_name("NAME");
    command
        ->add_option("--identity", options->identity,
                     "32 hexadecimal digits by which the agent is known however it is called; kept in the "
                     "folder that STATE_DIRECTORY names, or made anew at each start, unless given")
        ->check(notEmpty())
        ->type_name("DIGITS");
    command->add_option("-c,--count", options->count, "End after so many frames")
        ->check(notEmpty())
        ->type_name("COUNT");
    addAnalysisOptions(*command, options->analysis);
    command->add_flag("-q,--quiet", options->server.quiet, "No lines about consoles that come and go");
    command->callback([options] { runAgent(*options); });
}

void runAgent(CAgentOptions const & options)
{
    if (options.file.empty() == options.interface.empty())
        throw CFailure(exitBadInput,
                       "agent: what to count is missing: -r FILE or -i INTERFACE (see ketmon agent --help)");

    CServerOptions serverOptions = options.server;
    serverOptions.listen = CEndpoint::parsed(options.listen);
    serverOptions.interval = milliseconds(options.interval);
    serverOptions.linger = milliseconds(options.linger);

    CInput const input = inputOf(options);
    CServed const served = servedBy(options, input);
    CKetrinStatManager manager;
    configure(manager, options.analysis);
    manager.beginAnalyzing(input.hook.get());

    double const pace = options.file.empty() ? 0.0 : options.pace;
    CCaptureThread capture(manager, *input.source, {pace, options.count});
    CAgentServer server(
        manager, serverOptions, served,
        [&] { capture.start([&server](CEnd const & end) { server.captureEnded(end); }); },
        [&] { capture.stop(); });
    writeOutput(fmt::format("listening on {}\n", server.endpoint().toString()));
    server.run();
    capture.join();
    manager.endAnalyzing();
}

} // namespace ketmon
