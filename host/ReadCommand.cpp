#include "host/ReadCommand.h"

#include "host/Failure.h"
#include "host/OpenCapture.h"
#include "host/Progress.h"

#include "ketstats/ketstats.h"

#include <fmt/core.h>

#include <memory>

namespace ketmon {

using KetStats::CKetrinStatManager;

namespace {

// 2000-01-01 00:00 UTC, the time of a capture without a frame.
constexpr long long fixedStart = 125911584000000000;

} // namespace

void addReadCommand(CLI::App & app)
{
    auto const options = std::make_shared<CReadOptions>();
    CLI::App * const command = app.add_subcommand("read", "Count a capture file and print the statistics");
    CLI::Option * const file =
        command->add_option("FILE", options->file, "Capture file with frames of Ethernet");
    command->add_option("-r,--read", options->file, "The same as FILE")->excludes(file)->type_name("FILE");
    addReportOptions(*command, options->report);
    addAnalysisOptions(*command, options->analysis);
    CLI::Option * const save = command
                                   ->add_option("--save-snapshot", options->recording.path,
                                                "Save the packed snapshot to this file, for ketmon show")
                                   ->type_name("OUT");
    command
        ->add_option("--interval", options->recording.interval,
                     "Save a full snapshot as OUT.0, and then what changed in every so many seconds of the "
                     "capture as OUT.1, OUT.2 ...; seconds without frames save nothing")
        ->check(CLI::Range(0.01, 1e9))
        ->needs(save)
        ->type_name("SECONDS");
    command->add_flag("-q,--quiet", options->quiet, "No progress on stderr");
    command->callback([options] { readCapture(*options); });
}

void readCapture(CReadOptions const & options)
{
    if (options.file.empty())
        throw CFailure(exitBadInput, "read: FILE is missing (see ketmon read --help)");

    CFileHook hook(options.analysis.linkSpeed);
    CKetrinStatManager manager;
    configure(manager, options.analysis);
    auto const source = openCapture(options.file);
    CCapturedFrame captured{};
    bool more = source->next(captured);

    manager.beginAnalyzing(&hook);
    CRecording recording(manager, options.recording, more ? captured.ticks : fixedStart);
    unsigned long long frames = 0;
    {
        CProgress progress(options.file, *source, options.quiet);
        CNetworkFrame frame;
        for (; more; more = source->next(captured)) {
            recording.advance(captured.ticks);
            frame.Assign(captured.data, captured.capturedLength, captured.length);
            manager.analyzeFrame(&frame);
            ++frames;
            progress.step();
        }
    }
    recording.finish();
    manager.endAnalyzing();

    fmt::print("{}", CReport(options.report).whole(options.file, frames, recording.result()));
}

} // namespace ketmon
