#include "host/commands/ReadCommand.h"

#include "host/live/FileCount.h"
#include "host/support/Failure.h"
#include "host/support/OptionChecks.h"

#include <fmt/core.h>

#include <memory>

namespace ketmon {

void addReadCommand(CLI::App & app)
{
    auto const options = std::make_shared<CReadOptions>();
    CLI::App * const command = app.add_subcommand("read", "Count a capture file and print the statistics");
    CLI::Option * const file =
        command->add_option("FILE", options->file, "Capture file with frames of Ethernet");
    command->add_option("-r,--read", options->file, "The same as FILE")->excludes(file)->type_name("FILE");
    addReportOptions(*command, options->report);
    addHostNameOption(*command, options->report);
    addAnalysisOptions(*command, options->analysis);
    CLI::Option * const save = command
                                   ->add_option("--save-snapshot", options->recording.path,
                                                "Save the packed snapshot to this file, for ketmon show")
                                   ->check(notEmpty())
                                   ->type_name("OUT");
    command
        ->add_option("--interval", options->recording.interval,
                     "Save a full snapshot as OUT.0, and then what changed in every so many seconds of the "
                     "capture as OUT.1, OUT.2 ...; seconds without frames save nothing")
        ->check(between(0.01, 1e9))
        ->needs(save)
        ->type_name("SECONDS");
    command
        ->add_option("--filter", options->filter,
                     "Count the frames that this capture filter accepts and rejects too, under 1.3")
        ->check(notEmpty())
        ->type_name("EXPRESSION");
    command->add_flag("-q,--quiet", options->quiet, "No progress on stderr");
    command->callback([options] { readCapture(*options); });
}

void readCapture(CReadOptions const & options)
{
    if (options.file.empty())
        throw CFailure(exitBadInput, "read: FILE is missing (see ketmon read --help)");

    std::unique_ptr<CCaptureExpression> filter;
    if (!options.filter.empty())
        filter = compiledExpression(options.filter);
    check(options.report);
    CRecordingOptions recording = options.recording;
    recording.capture = options.file;
    CFileCount count(options.analysis, recording);
    count.run(options.file, options.quiet, filter.get());

    CSampleFacts facts = count.facts();
    facts.source.kind = CSourceFigures::Kind::file;
    facts.source.name = options.file;
    fmt::print("{}",
               output(options.report, figuresOf(count.result(), facts), count.result(), count.frames()));
}

} // namespace ketmon
