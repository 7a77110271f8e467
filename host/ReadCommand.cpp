#include "host/ReadCommand.h"

#include "host/Failure.h"
#include "host/Groups.h"
#include "host/JsonTree.h"
#include "host/PcapFile.h"
#include "host/Progress.h"
#include "host/TextTree.h"

#include "ketstats/ketstats.h"

#include <fmt/core.h>

#include <charconv>
#include <memory>
#include <string_view>

namespace ketmon {

using KetStats::CKetrinStatManager;

namespace {

class CFileHook : public CNdisHook
{
public:
    explicit CFileHook(long linkSpeed) : m_linkSpeed(linkSpeed) {}
    long GetLinkSpeed() override { return m_linkSpeed; }

private:
    long m_linkSpeed;
};

// "LOW-HIGH", or one port.
struct CPorts
{
    int low;
    int high;
};

CPorts parsedPorts(std::string const & option, std::string const & text)
{
    auto const port = [](std::string_view digits, int & value) {
        char const * const end = digits.data() + digits.size();
        auto const [stop, error] = std::from_chars(digits.data(), end, value);
        return error == std::errc() && stop == end && value >= 0 && value <= 65535;
    };
    std::string_view const whole = text;
    std::size_t const dash = whole.find('-');
    CPorts ports{};
    if (!port(whole.substr(0, dash), ports.low) ||
        !port(dash == whole.npos ? whole : whole.substr(dash + 1), ports.high) || ports.low > ports.high)
        throw CFailure(exitBadInput,
                       fmt::format("{}: '{}' is no range of ports such as 1-1024", option, text));
    return ports;
}

void setPortRanges(CKetrinStatManager & manager, CReadOptions const & options)
{
    if (!options.tcpPorts.empty()) {
        CPorts const ports = parsedPorts("--tcp-ports", options.tcpPorts);
        manager.setTCPPortRange(ports.low, ports.high);
    }
    if (!options.udpPorts.empty()) {
        CPorts const ports = parsedPorts("--udp-ports", options.udpPorts);
        manager.setUDPPortRange(ports.low, ports.high);
    }
}

std::string render(CReadOptions const & options, unsigned long long frames,
                   KetStats::CBaseStat const & statistics)
{
    if (!options.json)
        return fmt::format("{}: {} frames\n\n{}", options.file, frames, toText(statistics, options.top));
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
    addEnableOption(*command, options->enable);
    command
        ->add_option("--tcp-ports", options->tcpPorts,
                     "TCP ports that get a row of their own, limits included; 1-1024 unless given")
        ->type_name("LOW-HIGH");
    command->add_option("--udp-ports", options->udpPorts, "The same for UDP")->type_name("LOW-HIGH");
    command
        ->add_option("--top", options->top, "How many rows of a table to print, the busiest first; 0 for all")
        ->capture_default_str()
        ->type_name("N");
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
    setPortRanges(manager, options);
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
