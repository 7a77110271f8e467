#include "host/commands/AgentCommand.h"

#include "host/capture/CaptureFiles.h"
#include "host/capture/FrameFeed.h"
#include "host/capture/LiveCapture.h"
#include "host/live/EndLine.h"
#include "host/support/Failure.h"
#include "host/support/OptionChecks.h"
#include "host/support/Output.h"

#include "ketstats/ketstats.h"

#include <fmt/core.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <optional>
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
    void start(std::function<void(unsigned long long frames)> ended)
    {
        m_thread = std::jthread([this, ended = std::move(ended)](std::stop_token const & stop) {
            try {
                feedFrames(m_manager, m_source, m_options, stop, m_summary);
            } catch (...) {
                m_failure = std::current_exception();
            }
            ended(m_summary.frames);
        });
    }

    void stop()
    {
        m_thread.request_stop();
        m_source.stop();
    }

    // Ends the thread, and gives what it counted. Throws what it failed with.
    CCaptureSummary const & join()
    {
        if (!m_thread.joinable())
            return m_summary;
        stop();
        m_thread.join();
        if (m_failure)
            std::rethrow_exception(m_failure);
        m_summary.faults = m_source.faults();
        return m_summary;
    }

private:
    CKetrinStatManager & m_manager;
    CCaptureSource & m_source;
    CFeedOptions m_options;
    CCaptureSummary m_summary; // this and the next are written by the thread, and read behind its end
    std::exception_ptr m_failure;
    std::jthread m_thread;
};

CInput inputOf(CAgentOptions const & options)
{
    if (!options.interface.empty())
        return openLiveCapture(options.interface, options.filter, options.analysis.linkSpeed);
    return {std::make_unique<CFileHook>(options.analysis.linkSpeed),
            std::make_unique<CCaptureFiles>(options.files)};
}

CDrops dropsOf(CNdisHook & hook)
{
    auto const count = [](long lost) { return static_cast<unsigned long long>(std::max(lost, 0L)); };
    return {count(hook.GetSoftMissedFrames()), count(hook.GetMissedFrames())};
}

} // namespace

void addAgentCommand(CLI::App & app)
{
    auto const options = std::make_shared<CAgentOptions>();
    options->analysis.rows.usual = rowsOfAgents;
    CLI::App * const command =
        app.add_subcommand("agent", "Count frames and serve the statistics to consoles over TCP");
    command->footer("The address that it listens on is printed as the first line. Whoever reaches that\n"
                    "address can read the statistics; there is no password and no encryption.");
    CLI::Option * const file = command->add_option(
        "-r,--read", options->files, "Replay a capture file, - for the standard input; may be given again");
    file->allow_extra_args(false)->type_name("FILE");
    command
        ->add_option("--pace", options->pace,
                     "How many times faster than it was captured the file is replayed; 0 for as fast as it "
                     "can be read")
        ->check(atLeast(0))
        ->capture_default_str()
        ->needs(file)
        ->type_name("FACTOR");
    command
        ->add_option("--longest-gap", options->longestGap,
                     "Wait no longer than that for the next frame of a file, whatever its time says")
        ->check(between(0, 1e9))
        ->capture_default_str()
        ->needs(file)
        ->type_name("SECONDS");
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
    command->add_option("-c,--count", options->count, "End after so many frames")
        ->check(notEmpty())
        ->type_name("COUNT");
    addAnalysisOptions(*command, options->analysis);
    command->add_flag("-q,--quiet", options->server.quiet, "No lines about consoles that come and go");
    command->callback([options] { runAgent(*options); });
}

void runAgent(CAgentOptions const & options)
{
    if (options.files.empty() == options.interface.empty())
        throw CFailure(exitBadInput,
                       "agent: what to count is missing: -r FILE or -i INTERFACE (see ketmon agent --help)");

    CServerOptions serverOptions = options.server;
    serverOptions.listen = CEndpoint::parsed(options.listen);
    serverOptions.interval = milliseconds(options.interval);
    serverOptions.linger = milliseconds(options.linger);

    CInput const input = inputOf(options);
    CKetrinStatManager manager(tableLimits(options.analysis.rows));
    configure(manager, options.analysis);
    manager.beginAnalyzing(input.hook.get());

    double const pace = options.files.empty() ? 0.0 : options.pace;
    CCaptureThread capture(manager, *input.source, {pace, options.longestGap, options.count});
    CAgentServer server(
        manager, serverOptions,
        [&] { capture.start([&server](unsigned long long frames) { server.captureEnded(frames); }); },
        [&] { capture.stop(); });
    writeOutput(fmt::format("listening on {}\n", server.endpoint().toString()));
    server.run();
    CCaptureSummary const & summary = capture.join();
    manager.endAnalyzing();
    std::optional<CDrops> drops;
    if (options.files.empty())
        drops = dropsOf(*input.hook);
    tellEnd(summary, manager.getAgentStatistic().ledgers(), drops, options.server.quiet);
}

} // namespace ketmon
