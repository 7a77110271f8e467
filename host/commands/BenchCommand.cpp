#include "host/commands/BenchCommand.h"

#include "host/capture/FrameCounter.h"
#include "host/capture/LoadedCapture.h"
#include "host/live/EndLine.h"
#include "host/live/FileCount.h"
#include "host/live/Groups.h"
#include "host/support/Failure.h"
#include "host/support/OptionChecks.h"
#include "host/support/Output.h"

#include "ketstats/ketstats.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <memory>

namespace ketmon {

using KetStats::CKetrinStatManager;

namespace {

double nanosecondsOf(CKetrinStatManager & manager, CLoadedCapture const & capture,
                     std::vector<CFrameView> const & frames)
{
    auto const start = std::chrono::steady_clock::now();
    if (capture.isEthernet())
        manager.analyzeFrames(frames);
    else
        capture.overOthers([&](CMediumFrame & frame) { manager.analyzeFrame(&frame); });
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

void print(CBenchOptions const & options, CLoadedCapture const & capture, double best, double median)
{
    std::size_t const frames = capture.frames().size();
    if (options.json) {
        nlohmann::ordered_json document;
        document["frames"] = frames;
        document["nsPerFrame"] = {{"best", best}, {"median", median}};
        writeOutput(document.dump(2) + '\n');
        return;
    }
    unsigned long long bytes = 0;
    for (auto const & frame : capture.frames())
        bytes += frame.length;
    double const bitsPerFrame = 8.0 * static_cast<double>(bytes) / static_cast<double>(frames);
    auto const line = [&](char const * name, double nanoseconds) {
        return fmt::format("{:<8}{:>8.1f} ns/frame  {:>12.0f} frames/s  {:>8.2f} Gbit/s\n", name, nanoseconds,
                           1e9 / nanoseconds, bitsPerFrame / nanoseconds);
    };
    writeOutput(fmt::format("{}: {} frames, {} passes after one to warm up\n", nameOf(options.files), frames,
                            options.passes) +
                line("best", best) + line("median", median));
}

} // namespace

void addBenchCommand(CLI::App & app)
{
    auto const options = std::make_shared<CBenchOptions>();
    CLI::App * const command =
        app.add_subcommand("bench", "Measure how fast this machine counts the frames of capture files");
    command->add_option("FILE", options->files, "Capture files, as for read")->required();
    command->add_option("--passes", options->passes, "How often all frames are counted")
        ->check(atLeast(1))
        ->capture_default_str()
        ->type_name("N");
    addEnableOption(*command, options->enable);
    addRowsOption(*command, options->rows);
    command->add_flag("--json", options->json, "Print one JSON object");
    command->callback([options] { benchCapture(*options); });
}

void benchCapture(CBenchOptions const & options)
{
    CKetrinStatManager manager(tableLimits(options.rows));
    enableGroups(manager, options.enable);
    CLoadedCapture capture;
    CCaptureSummary summary;
    summary.faults = capture.load(options.files);
    if (capture.frames().empty()) {
        tellEnd(summary, {}, {}, true);
        throw CFailure(exitBadInput,
                       fmt::format("{}: there are no frames to measure with", nameOf(options.files)));
    }

    if (!capture.isEthernet())
        leaveOutUnknown(manager);
    manager.beginAnalyzing(nullptr);
    std::vector<CFrameView> const frames = capture.views();
    static_cast<void>(nanosecondsOf(manager, capture, frames)); // warms up
    std::vector<double> passes;
    for (unsigned int pass = 0; pass < options.passes; ++pass)
        passes.push_back(nanosecondsOf(manager, capture, frames) / static_cast<double>(frames.size()));
    std::sort(passes.begin(), passes.end());
    print(options, capture, passes.front(), passes[passes.size() / 2]);
    tellEnd(summary, {}, {}, true);
}

} // namespace ketmon
