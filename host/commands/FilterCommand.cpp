#include "host/commands/FilterCommand.h"

#include "host/capture/CaptureExpression.h"
#include "host/capture/CaptureFiles.h"
#include "host/capture/CaptureWriter.h"
#include "host/capture/MediumExpression.h"
#include "host/capture/MediumFrame.h"
#include "host/capture/Progress.h"
#include "host/live/EndLine.h"
#include "host/live/FileCount.h"
#include "host/support/ByteSource.h"
#include "host/support/Failure.h"
#include "host/support/Oid.h"
#include "host/support/OptionChecks.h"
#include "host/support/Output.h"

#include "ketstats/ketstats.h"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

namespace ketmon {

using KetStats::CBaseStat;

namespace {

// The filter of what the identifier names in the statistics of the file.
std::unique_ptr<CFilter> filterOf(CFilterOptions const & options, CFileCount const & count)
{
    auto const oid = parsedOid(options.oid);
    if (!oid)
        throw CFailure(exitBadInput, fmt::format("'{}' is no identifier such as 1.5.2", options.oid));
    CBaseStat const * const stat = count.find(*oid);
    if (!stat)
        throw CFailure(exitBadInput, fmt::format("{}: there is no statistic {} at the end of the capture "
                                                 "(ketmon read shows them, with the ids of rows)",
                                                 nameOf(options.files), options.oid));
    std::unique_ptr<CFilter> filter(KetStats::buildFilter(stat));
    if (!filter)
        throw CFailure(exitBadInput, fmt::format("{} is in no row of a table of traffic, so it has no filter",
                                                 options.oid));
    return filter;
}

// Whether it is there and, being no file, can't be read from its start again.
bool isReadOnce(std::string const & file)
{
    std::error_code error;
    return file == standardInput || std::filesystem::is_other(std::filesystem::status(file, error));
}

std::string expressionOf(CFilter const & filter, std::uint32_t linkType)
{
    return linkType == linktype::ethernet ? filter.GetDescription() : mediumExpression(filter, linkType);
}

// Null where the system can't try expressions.
std::unique_ptr<CCaptureExpression> triedExpression(std::string const & text)
{
    try {
        return compiledExpression(text);
    } catch (CFailure const &) {
        return nullptr;
    }
}

// Frames of a file.
struct CVerdicts
{
    unsigned long long passed = 0;    // by the filter
    unsigned long long disagreed = 0; // the filter and its expression
};

// What becomes of the frames of the file. Those that pass the filter are written, if there is a writer.
CVerdicts verdicts(CFilterOptions const & options, CFilter const & filter, std::string const & text,
                   CCaptureWriter * writer)
{
    CVerdicts result;
    auto const expression = triedExpression(text);
    CCaptureFiles source(options.files);
    CProgress progress(nameOf(options.files), source, options.quiet);
    CMediumFrame frame;
    for (CCapturedFrame captured{}; source.next(captured); progress.step(1)) {
        frame.assign(captured);
        bool const passes = filter.IsSatisfied(&frame);
        result.disagreed += expression && expression->passes(captured) != passes;
        result.passed += passes;
        if (passes && writer)
            writer->write(captured);
    }
    return result;
}

void passFrames(CFilterOptions const & options, CFilter const & filter, std::string const & text)
{
    std::optional<CCaptureWriter> writer;
    if (!options.output.empty())
        writer.emplace(options.output);
    CVerdicts const result = verdicts(options, filter, text, writer ? &*writer : nullptr);
    if (writer)
        writer->finish();
    if (options.frames)
        writeOutput(fmt::format("{}\n", result.passed));
    if (result.disagreed != 0)
        tell(fmt::format(
            "{}: the expression decides otherwise than the row's own filter on {} frame{}, which are "
            "cut, too short, behind more than two VLAN tags or IPv6 extension headers, or of another link "
            "type",
            nameOf(options.files), result.disagreed, result.disagreed == 1 ? "" : "s"));
}

} // namespace

void addFilterCommand(CLI::App & app)
{
    auto const options = std::make_shared<CFilterOptions>();
    CLI::App * const command = app.add_subcommand(
        "filter", "Print the capture filter that selects the traffic of a row of a capture's statistics");
    command->footer("OID names a row such as 1.5.2, or what stands in one, as ketmon read shows it. The\n"
                    "expression is one that tcpdump and ketmon agent -f take.");
    command
        ->add_option("FILE", options->files,
                     "Capture files, as for read, and last the identifier of the statistic")
        ->required()
        ->type_name("... OID");
    command->add_flag("--frames", options->frames, "Print how many frames of FILE pass, on a second line");
    command->add_option("-w,--write", options->output, "Write these frames to a capture file")
        ->check(notEmpty())
        ->type_name("OUT.pcap");
    addAnalysisOptions(*command, options->analysis);
    command->add_flag("-q,--quiet", options->quiet, "No progress on stderr");
    command->callback([options] {
        // The parser would give all of them to the files, or take options only in front of them.
        if (options->files.size() < 2)
            throw CFailure(exitBadInput, "filter: FILE or OID is missing (see ketmon filter --help)");
        options->oid = options->files.back();
        options->files.pop_back();
        printFilter(*options);
    });
}

void printFilter(CFilterOptions const & options)
{
    bool const withFrames = options.frames || !options.output.empty();
    for (std::string const & file : options.files)
        if (withFrames && isReadOnce(file))
            throw CFailure(exitBadInput,
                           fmt::format("{}: is read twice for --frames and --write, so it can't "
                                       "be a pipe or a device",
                                       file));
    CFileCount count(options.analysis, {});
    count.run(options.files, options.quiet);
    std::unique_ptr<CFilter> const filter = filterOf(options, count);
    std::string const text = expressionOf(*filter, count.linkType());
    writeOutput(text + '\n');
    if (std::none_of(options.files.begin(), options.files.end(), isReadOnce))
        passFrames(options, *filter, text);
    tellEnd(count.summary(), {}, {}, true);
}

} // namespace ketmon
