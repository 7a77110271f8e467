#include "host/commands/AgentCommand.h"

#include "host/agent/CaptureThread.h"
#include "host/agent/Identity.h"
#include "host/agent/StatisticsClock.h"
#include "host/capture/CaptureFiles.h"
#include "host/capture/FrameCounter.h"
#include "host/capture/LiveCapture.h"
#include "host/commands/LiveOptions.h"
#include "host/live/EndLine.h"
#include "host/live/FileCount.h"
#include "host/support/ByteSource.h"
#include "host/support/Failure.h"
#include "host/support/Memory.h"
#include "host/support/OptionChecks.h"
#include "host/support/Output.h"
#include "host/support/Rights.h"

#include "ketstats/ketstats.h"

#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <optional>

namespace ketmon {

using KetStats::CKetrinStatManager;

namespace {

std::map<std::string, Sandbox> const sandboxes = {
    {"on", Sandbox::on}, {"strict", Sandbox::strict}, {"off", Sandbox::off}};

std::chrono::milliseconds milliseconds(double seconds)
{
    return std::chrono::milliseconds(static_cast<long long>(seconds * 1000.0));
}

// Nothing if a signal came while an interface was waited for.
// A service that waits for its interface is ready: what is started behind it isn't held up.
std::optional<CInput> inputOf(CAgentOptions const & options, CServiceManager & service, CLog & log)
{
    if (!options.interface.empty()) {
        CLiveOptions live = options.live;
        live.interface = options.interface;
        live.filter = options.filter;
        live.linkSpeed = options.analysis.linkSpeed;
        live.waiting = [&] {
            service.ready();
            service.alive();
            service.status(fmt::format("waits for {}", options.interface));
        };
        return openLiveCapture(live, log);
    }
    CInput input;
    input.hook = std::make_unique<CFileHook>(options.analysis.linkSpeed);
    input.source = std::make_unique<CCaptureFiles>(options.files, FirstRead::byNext);
    return input;
}

std::string environment(char const * name)
{
    char const * const value = std::getenv(name);
    return value ? value : "";
}

CServed servedBy(CAgentOptions const & options, CInput const & input, CLog & log)
{
    CServed served;
    served.agent = options.name.empty() ? hostName() : options.name;
    // Where a service manager gives its services a folder of their own, it is named there.
    served.identity = options.identity.empty() ? keptIdentity(environment("STATE_DIRECTORY"), log)
                                               : parsedIdentity(options.identity);
    served.kind = options.files.empty() ? SourceKind::interface : SourceKind::file;
    served.source = options.files.empty() ? options.interface : nameOf(options.files);
    served.linkSpeed = static_cast<std::uint64_t>(std::max(0L, input.hook->GetLinkSpeed()));
    served.linkType = [&source = *input.source] { return source.linkType().value_or(linktype::ethernet); };
    served.errors = input.errors;
    served.counters = input.counters;
    return served;
}

std::string isMode(std::string const & text)
{
    bool const good = text.size() == 3 && text.find_first_not_of("01234567") == text.npos;
    return good ? "" : fmt::format("'{}' isn't three octal digits such as 660", text);
}

LogLevel levelOf(CAgentOptions const & options)
{
    return options.quiet ? LogLevel::warning : options.verbose ? LogLevel::debug : LogLevel::info;
}

std::optional<CDrops> dropsOf(CInput const & input)
{
    CCaptureCounters const known = input.counters();
    if (!known.droppedByKernel && !known.droppedByInterface)
        return {};
    return CDrops{known.droppedByKernel.value_or(0), known.droppedByInterface.value_or(0)};
}

// Behind the end of the serving the capture is over too, or was told to be. A second signal doesn't wait for a read that
// hangs, of a file whose server is gone, to come back: the process ends with the thread that is in it.
void endWithin(std::chrono::milliseconds most, CCaptureThread & thread, CLog & log)
{
    if (thread.endsWithin(most))
        return;
    log.warn("the capture hangs in its input, and is ended there");
    log.settle();
    std::_Exit(exitSuccess);
}

// What an agent reads while it counts: the counters of interfaces, which are links into the tree of devices, or
// the files that it was given, each of which is opened when its time comes.
CNeeds needsOf(CAgentOptions const & options)
{
    if (!options.interface.empty())
        return {{"/sys/class/net", "/sys/devices"}, true};
    CNeeds needs{{}, false};
    for (std::string const & file : options.files)
        if (file != standardInput)
            needs.readable.push_back(file);
    return needs;
}

// What the process may still do once its capture and its port are open.
void addRightsOptions(CLI::App & command, CRightsOptions & options)
{
    command
        .add_option(
            "--user", options.user,
            "Who the agent becomes once its capture is open, where root started it; with an interface "
            "that is ketmon unless given, if there is such a user")
        ->check(notEmpty())
        ->type_name("USER");
    command
        .add_option_function<std::string>(
            "--sandbox", [&options](std::string const & name) { options.sandbox = sandboxes.at(name); },
            "What an agent does that it has no use for fails (on), or ends it (strict); off for neither")
        ->check(CLI::IsMember({"on", "strict", "off"}))
        ->default_str("on")
        ->type_name("on|strict|off");
}

} // namespace

void addAgentCommand(CLI::App & app)
{
    auto const options = std::make_shared<CAgentOptions>();
    options->analysis.rows = {{}, rowsOfAgents, costOfAgents};
    CLI::App * const command =
        app.add_subcommand("agent", "Count frames and serve the statistics to consoles over TCP");
    command->footer("The address that it listens on is printed as the first line. Whoever reaches that\n"
                    "address can read the statistics; there is no password and no encryption.\n"
                    "SIGINT and SIGTERM end it in good order, a second one at once; SIGHUP does nothing.");
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
        command->add_option("-i,--interface", options->interface,
                            "Count what passes a network interface, or any for all of them");
    interface->excludes(file)->type_name("INTERFACE");
    command
        ->add_option("-f,--filter", options->filter,
                     "Count only what passes this filter of libpcap's, such as 'not port 22'")
        ->needs(interface)
        ->type_name("EXPRESSION");
    addLiveOptions(*command, *interface, options->live);
    command
        ->add_option(
            "--listen", options->listen,
            "Where consoles connect; port 0 picks a free one, unix:PATH is a socket in the file system")
        ->capture_default_str()
        ->type_name("ADDRESS:PORT");
    command
        ->add_option(
            "--socket-mode", options->socketMode,
            "Permissions of a socket in the file system, which say who may connect, as three octal digits")
        ->check(CLI::Validator(isMode, "", "mode"))
        ->capture_default_str()
        ->type_name("MODE");
    command->add_flag(
        "--plain", options->server.listen.plain,
        "Listen on an address that other machines reach, though whoever reaches it can read the "
        "statistics, without a password or encryption");
    command
        ->add_option(
            "--most-consoles", options->server.mostConsoles,
            "Serve no more consoles than that, and half of them from one address of another machine or "
            "one other user")
        ->check(notEmpty())
        ->capture_default_str()
        ->type_name("N");
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
        ->add_option(
            "--backlog", options->server.backlog,
            "Bytes that a console may have still to take when its next sample is due; with more it gets none")
        ->check(notEmpty())
        ->capture_default_str()
        ->type_name("BYTES");
    command
        ->add_option("--memory", options->memory,
                     "MiB of memory that the agent may have: consoles that would need more are refused")
        ->check(between(16, 1 << 20))
        ->capture_default_str()
        ->type_name("MIB");
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
    addRightsOptions(*command, options->rights);
    addAnalysisOptions(*command, options->analysis);
    command->add_flag("-q,--quiet", options->quiet,
                      "Only warnings and errors, no lines about consoles that come and go");
    command->add_flag("-v,--verbose", options->verbose, "More lines than usual, for who looks for an error");
    command->callback([options] { runAgent(*options); });
}

void runAgent(CAgentOptions const & options)
{
    if (options.files.empty() == options.interface.empty())
        throw CFailure(exitBadInput,
                       "agent: what to count is missing: -r FILE or -i INTERFACE (see ketmon agent --help)");

    CServerOptions serverOptions = options.server;
    serverOptions.listen.where = CEndpoint::parsed(options.listen);
    serverOptions.listen.permissions = static_cast<unsigned int>(std::stoul(options.socketMode, nullptr, 8));
    serverOptions.interval = milliseconds(options.interval);
    serverOptions.linger = milliseconds(options.linger);
    serverOptions.memory = options.memory << 20;

    CServiceManager service;
    CLog log(levelOf(options)); // of the capture, too, so it goes behind that
    std::optional<CInput> const opened = inputOf(options, service, log);
    if (!opened)
        return;
    CInput const & input = *opened;
    CServed const served = servedBy(options, input, log);
    CStatisticsClock const clock;
    CKetrinStatManager manager(tableLimits(options.analysis.rows));
    configure(manager, options.analysis);
    if (mediaFamily(served.linkType()) != MediaFamily::ethernet)
        leaveOutUnknown(manager);
    manager.beginAnalyzing(input.hook.get());

    CCaptureThread * capture = nullptr;
    CAgentServer server(
        manager, serverOptions, served, log, service,
        [&] { capture->start([&server](CEnd const & end) { server.captureEnded(end); }); },
        [&] { capture->stop(); });
    if (!server.isNear())
        log.warn(fmt::format("whoever reaches {} can read the statistics", server.endpoint().toString()));
    // It calls the server, so it is stopped before that is gone, whatever happens.
    double const pace = options.files.empty() ? 0.0 : options.pace;
    CCaptureThread thread(manager, *input.source, {pace, options.longestGap, options.count});
    capture = &thread;
    // Asked while what it takes can still be opened.
    bool const memoryIsKnown = residentMemory().has_value();
    std::string const rights = dropRights(options.rights, needsOf(options));
    writeOutput(fmt::format("listening on {}\n", server.endpoint().toString()));
    if (!rights.empty())
        log.inform(rights);
    if (!memoryIsKnown)
        log.warn("--memory: the system doesn't tell how much memory the agent has, so it has no ceiling");
    server.run();
    endWithin(std::chrono::milliseconds(500), thread, log);
    std::exception_ptr failure;
    try {
        thread.join();
    } catch (std::exception const &) {
        // What was counted until then is told all the same.
        failure = std::current_exception();
    }
    manager.endAnalyzing();
    KetStats::CLedgers ledgers = manager.getAgentStatistic().ledgers();
    manager.getExtendedStatistic().addLedgers(ledgers);
    tellEnd(thread.summary(), ledgers, dropsOf(input), options.quiet);
    if (failure)
        std::rethrow_exception(failure);
}

} // namespace ketmon
