#include "host/ReadCommand.h"

#include "host/Failure.h"
#include "host/JsonTree.h"
#include "host/PcapFile.h"
#include "host/Progress.h"
#include "host/TextTree.h"

#include "ketstats/ketstats.h"

#include <fmt/core.h>

#include <memory>

namespace ketmon {

using KetStats::CKetrinStatManager;
using KetStats::COid;

namespace {

class CFileHook : public CNdisHook
{
public:
    explicit CFileHook(long linkSpeed) : m_linkSpeed(linkSpeed) {}
    long GetLinkSpeed() override { return m_linkSpeed; }

private:
    long m_linkSpeed;
};

COid parsedOid(std::string const & text)
{
    try {
        return {text};
    } catch (COid::CException * raised) {
        delete raised;
        throw CFailure(exitBadInput, fmt::format("--enable: '{}' is no identifier such as 1.4", text));
    }
}

// All groups, unless some are named; "none" names none.
void enableGroups(CKetrinStatManager & manager, std::vector<std::string> const & names)
{
    if (names.empty()) {
        for (int group = 1; group <= 9; ++group)
            manager.enableStatistic(fmt::format("1.{}", group));
        return;
    }
    for (std::string const & name : names)
        if (name != "none" && !manager.enableStatistic(parsedOid(name)))
            throw CFailure(exitBadInput,
                           fmt::format("--enable: {} can't be enabled; the groups are 1.1 to 1.9", name));
}

std::string render(CReadOptions const & options, unsigned long long frames,
                   KetStats::CBaseStat const & statistics)
{
    if (!options.json)
        return fmt::format("{}: {} frames\n\n{}", options.file, frames, toText(statistics));
    nlohmann::ordered_json document;
    document["frames"] = frames;
    document["statistics"] = toJson(statistics);
    return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

} // namespace

void addReadCommand(CLI::App & app)
{
    auto const options = std::make_shared<CReadOptions>();
    CLI::App * const command = app.add_subcommand("read", "Count a capture file and print the statistics");
    CLI::Option * const file =
        command->add_option("FILE", options->file, "Capture file with frames of Ethernet");
    command->add_option("-r,--read", options->file, "The same as FILE")->excludes(file)->type_name("FILE");
    command->add_flag("--json", options->json, "Print one JSON object instead of tables");
    command
        ->add_option("--enable", options->enable,
                     "Group to count, 1.1 to 1.9, or 'none'; may be given again. All groups unless given")
        ->allow_extra_args(false)
        ->type_name("OID");
    command
        ->add_option("--link-speed", options->linkSpeed,
                     "Speed of the link in bits per second, which a capture file doesn't tell")
        ->check(CLI::NonNegativeNumber)
        ->type_name("BITS");
    command->add_flag("-q,--quiet", options->quiet, "No progress on stderr");
    command->callback([options] { readCapture(*options); });
}

void readCapture(CReadOptions const & options)
{
    if (options.file.empty())
        throw CFailure(exitBadInput, "read: FILE is missing (see ketmon read --help)");

    CKetrinStatManager manager;
    enableGroups(manager, options.enable);
    CPcapFile source(options.file);

    CFileHook hook(options.linkSpeed);
    manager.beginAnalyzing(&hook);
    unsigned long long frames = 0;
    {
        CProgress progress(options.file, source, options.quiet);
        CCapturedFrame captured{};
        CNetworkFrame frame;
        while (source.next(captured)) {
            frame.Assign(captured.data, captured.capturedLength, captured.length);
            manager.analyzeFrame(&frame);
            ++frames;
            progress.step();
        }
    }
    manager.endAnalyzing();

    fmt::print("{}", render(options, frames, manager.getAgentStatistic()));
}

} // namespace ketmon
