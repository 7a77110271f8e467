#include "host/commands/ReadCommand.h"

#include "host/live/EndLine.h"
#include "host/live/FileCount.h"
#include "host/support/Failure.h"
#include "host/support/OptionChecks.h"
#include "host/support/Output.h"

#include <memory>

namespace ketmon {

void addReadCommand(CLI::App & app)
{
    auto const options = std::make_shared<CReadOptions>();
    CLI::App * const command = app.add_subcommand("read", "Count capture files and print the statistics");
    CLI::Option * const files =
        command->add_option("FILE", options->files,
                            "Capture files, also compressed with gzip; - is the standard input. Several are "
                            "counted as one, in the order of time");
    command->add_option("-r,--read", options->files, "The same as FILE; may be given again")
        ->excludes(files)
        ->allow_extra_args(false)
        ->type_name("FILE");
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
                     "Save a full snapshot as OUT.00000, and then what changed in every so many seconds of "
                     "the capture as OUT.00001, OUT.00002 ...; seconds without frames save nothing")
        ->check(between(0.01, 1e9))
        ->needs(save)
        ->type_name("SECONDS");
    command
        ->add_option("--filter", options->filter,
                     "Count the frames that this capture filter accepts and rejects too, under 1.3")
        ->check(notEmpty())
        ->type_name("EXPRESSION");
    command->add_flag("-q,--quiet", options->quiet, "Neither progress nor a line about the end on stderr");
    command->callback([options] { readCapture(*options); });
}

void readCapture(CReadOptions const & options)
{
    if (options.files.empty())
        throw CFailure(exitBadInput, "read: FILE is missing (see ketmon read --help)");

    std::unique_ptr<CCaptureExpression> filter;
    if (!options.filter.empty())
        filter = compiledExpression(options.filter);
    check(options.report);
    CFileCount count(options.analysis, options.recording);
    count.run(options.files, options.quiet, filter.get());
    writeOutput(output(options.report, figuresOf(count.result(), count.facts()), count.result(),
                       &count.recording().extended(), count.frames()));
    tellEnd(count.summary(), count.recording().snapshot().getLedgers(), {}, options.quiet);
}

} // namespace ketmon
