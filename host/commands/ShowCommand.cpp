#include "host/commands/ShowCommand.h"

#include "host/render/SampleFacts.h"
#include "host/support/Failure.h"
#include "host/wire/SnapshotBytes.h"
#include "host/wire/SnapshotFiles.h"

#include <fmt/core.h>

#include <memory>

namespace ketmon {

void addShowCommand(CLI::App & app)
{
    auto const options = std::make_shared<CShowOptions>();
    CLI::App * const command =
        app.add_subcommand("show", "Print snapshots that ketmon read --save-snapshot saved");
    command
        ->add_option("FILE", options->files, "A full snapshot, and then the deltas behind it in their order")
        ->required();
    addReportOptions(*command, options->report);
    addHostNameOption(*command, options->report);
    command->callback([options] { showSnapshots(*options); });
}

void showSnapshots(CShowOptions const & options)
{
    check(options.report);
    KetStats::CStatSnapshot snapshot;
    for (std::string const & file : options.files) {
        std::string const bytes = loadSnapshot(file);
        try {
            unpack(snapshot, bytes);
        } catch (CDamagedSnapshot const & damage) {
            throw CFailure(exitBadInput, fmt::format("{}: no packed snapshot: {}", file, damage.what()));
        }
    }
    snapshot.calculatePercentStats();
    auto const & tree = dynamic_cast<KetStats::CAgentStatistic const &>(*snapshot.getStat("1"));
    CSampleFacts facts;
    facts.source.kind = CSourceFigures::Kind::file;
    facts.source.name = options.files.back();
    facts.counted = groupsThatCounted(tree);
    fmt::print("{}", output(options.report, figuresOf(tree, facts), tree, framesOf(snapshot)));
}

} // namespace ketmon
