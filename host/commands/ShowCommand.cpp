#include "host/commands/ShowCommand.h"

#include "host/capture/CaptureTime.h"
#include "host/render/SampleFacts.h"
#include "host/support/Failure.h"
#include "host/support/Output.h"
#include "host/wire/SnapshotBytes.h"
#include "host/wire/SnapshotFiles.h"
#include "host/wire/SnapshotTrees.h"

#include <fmt/core.h>

#include <memory>
#include <optional>

namespace ketmon {

namespace {

void unpackFrom(std::string const & file, KetStats::CStatSnapshot & snapshot, CSavedSnapshot const & saved)
{
    if (saved.limits != snapshot.limits())
        throw CFailure(exitBadInput, fmt::format("{}: has other limits of rows than the one before", file));
    try {
        unpack(snapshot, saved.bytes);
    } catch (CDamagedSnapshot const & damage) {
        throw CFailure(exitBadInput, fmt::format("{}: a damaged snapshot: {}", file, damage.what()));
    }
    snapshot.setLedgers(saved.ledgers);
}

CSampleFacts factsOf(KetStats::CStatSnapshot const & snapshot, CSavedSnapshot const & saved)
{
    CSampleFacts facts;
    facts.source.name = saved.name;
    facts.source.linkType = linkTypeKey(saved.linkType);
    if (saved.linkBits > 0)
        facts.source.linkBitsPerSecond = saved.linkBits;
    facts.zero = saved.summary.first;
    facts.time = saved.summary.last;
    if (!saved.isFull())
        facts.intervalSeconds =
            static_cast<double>(saved.time - saved.previous) / static_cast<double>(ticksPerSecond);
    facts.counted = CGroupSet(saved.groups);
    facts.filterGiven = saved.filtering;
    facts.givenUp = snapshot.getGivenUp();
    if (saved.extended)
        facts.extended = &secondTree(snapshot);
    return facts;
}

} // namespace

void addShowCommand(CLI::App & app)
{
    auto const options = std::make_shared<CShowOptions>();
    CLI::App * const command =
        app.add_subcommand("show", "Print snapshots that ketmon read --save-snapshot saved");
    command->add_option("FILE", options->files, "A full snapshot and the deltas behind it, in any order")
        ->required();
    addReportOptions(*command, options->report);
    addHostNameOption(*command, options->report);
    command->callback([options] { showSnapshots(*options); });
}

void showSnapshots(CShowOptions const & options)
{
    check(options.report);
    // One alone may be a pipe, which can't be read twice.
    std::vector<std::string> const files = options.files.size() > 1 ? inOrder(options.files) : options.files;
    CSavedSnapshot last = loadSnapshot(files.front());
    if (!last.isFull())
        static_cast<void>(inOrder({files.front()})); // says what is missing
    KetStats::CStatSnapshot snapshot(last.limits);
    unpackFrom(files.front(), snapshot, last);
    std::optional<CFigures> before;
    for (std::size_t i = 1; i < files.size(); ++i) {
        if (i + 1 == files.size())
            before = figuresOf(firstTree(snapshot), factsOf(snapshot, last));
        last = loadSnapshot(files[i]);
        unpackFrom(files[i], snapshot, last);
    }
    snapshot.calculatePercentStats();
    CFigures const figures =
        figuresOf(firstTree(snapshot), factsOf(snapshot, last), before ? &*before : nullptr);
    writeOutput(output(options.report, figures, firstTree(snapshot),
                       last.extended ? &secondTree(snapshot) : nullptr, framesOf(snapshot)));
}

} // namespace ketmon
