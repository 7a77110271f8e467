#include "host/commands/CommandLine.h"

#include "host/commands/AgentCommand.h"
#include "host/commands/BenchCommand.h"
#include "host/commands/ConsoleCommand.h"
#include "host/commands/FilterCommand.h"
#include "host/commands/InterfacesCommand.h"
#include "host/commands/ReadCommand.h"
#include "host/commands/SchemaCommand.h"
#include "host/commands/ShowCommand.h"
#include "host/support/Caught.h"
#include "host/support/Failure.h"
#include "host/support/Output.h"

#include <fmt/core.h>

#include <algorithm>

namespace ketmon {

namespace {

bool hasCommand(CLI::App const & app, std::string const & name)
{
    auto const commands = app.get_subcommands([](CLI::App const *) { return true; });
    return std::any_of(commands.begin(), commands.end(),
                       [&](CLI::App const * command) { return command->get_name() == name; });
}

// Thrown where the list was asked for without a command.
struct CListInterfaces
{};

int runCommands(int argc, char const * const * argv)
{
    CLI::App app("Network statistics of captured frames", "ketmon");
    app.set_version_flag("--version", "ketmon " KETMON_VERSION KETMON_FEATURES);
    app.require_subcommand(1);
    app.allow_windows_style_options(false); // paths start with a slash there too
    app.footer("'ketmon COMMAND --help' tells the options of a command.\n"
               "Exit: 0 success, 1 failure while running, 2 bad usage or unreadable input, 3 the interface "
               "that was\n"
               "captured on is gone.");
    addReadCommand(app);
    addShowCommand(app);
    addFilterCommand(app);
    addAgentCommand(app);
    addConsoleCommand(app);
    addBenchCommand(app);
    addSchemaCommand(app);
    addInterfacesCommand(app);
    // As people know it from other programs that capture. Nothing that stands behind it matters.
    app.add_flag_callback(
        "-D,--list-interfaces", [] { throw CListInterfaces(); },
        "The same as the command interfaces, and exit");

    try {
        app.parse(argc, argv);
        return exitSuccess;
    } catch (CListInterfaces const &) {
        printInterfaces(false);
        return exitSuccess;
    } catch (CLI::CallForHelp const &) {
        // The help of the command that it was asked for.
        auto const asked = app.get_subcommands();
        writeOutput(asked.empty() ? app.help() : asked.front()->help("ketmon"));
        return exitSuccess;
    } catch (CLI::CallForVersion const & version) {
        writeOutput(fmt::format("{}\n", version.what()));
        return exitSuccess;
    } catch (CLI::ParseError const & error) {
        bool const unknownCommand = argc > 1 && argv[1][0] != '-' && !hasCommand(app, argv[1]);
        tell(fmt::format("{} (see --help)",
                         unknownCommand ? fmt::format("there is no command '{}'", argv[1]) : error.what()));
        return exitBadInput;
    }
}

} // namespace

int run(int argc, char const * const * argv)
{
    letBrokenPipesFail();
    try {
        holdStandardStreams();
        int const exitCode = runCommands(argc, argv);
        flushOutput();
        return exitCode;
    } catch (CFailure const & failure) {
        tell(failure.what());
        return failure.exitCode();
    } catch (...) {
        tell(caughtText());
        return exitFailure;
    }
}

} // namespace ketmon
