#include "host/commands/ConsoleCommand.h"

#include "host/console/Console.h"
#include "host/support/OptionChecks.h"

#include <memory>

namespace ketmon {

void addConsoleCommand(CLI::App & app)
{
    auto const options = std::make_shared<CConsoleOptions>();
    CLI::App * const command = app.add_subcommand("console", "Show what an agent counts, as it counts");
    command->footer(
        "Counts start at the moment of connecting; ARP connections and IPv6 neighbours are those that\n"
        "the agent has seen since it began. With --tree, IP subprotocols and IP ports, also those of\n"
        "stations and of IPv6, show what it has counted altogether. A connection that is lost is made anew, "
        "which takes\n"
        "1 s at first and up to 30 s later; then counts start again. It exits with 1 if the agent failed.");
    command
        ->add_option("AGENT", options->agent,
                     "Where the agent listens; unix:PATH for a socket in the file system")
        ->capture_default_str()
        ->type_name("ADDRESS:PORT");
    command->add_flag(
        "--plain", options->plain,
        "Connect to another machine, too, though nothing protects what the agent says on its way");
    command->add_flag("--no-reconnect", options->noReconnect,
                      "End with exit code 1 where the connection is lost, instead of making it anew");
    command->add_option("--count", options->count, "End after so many samples")
        ->check(notEmpty())
        ->type_name("N");
    addReportOptions(*command, options->report);
    command->callback([options] {
        check(options->report);
        follow(*options);
    });
}

} // namespace ketmon
