#include "host/live/AnalysisOptions.h"

#include "host/live/Groups.h"
#include "host/support/Failure.h"
#include "host/support/OptionChecks.h"

#include <fmt/core.h>

#include <charconv>
#include <limits>
#include <string_view>

namespace ketmon {

namespace {

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

} // namespace

void addAnalysisOptions(CLI::App & command, CAnalysisOptions & options)
{
    addEnableOption(command, options.enable);
    command
        .add_option("--tcp-ports", options.tcpPorts,
                    "TCP ports that get a row of their own, limits included; 1-1024 unless given")
        ->check(notEmpty())
        ->type_name("LOW-HIGH");
    command.add_option("--udp-ports", options.udpPorts, "The same for UDP")
        ->check(notEmpty())
        ->type_name("LOW-HIGH");
    addRowsOption(command, options.rows);
    command
        .add_option("--link-speed", options.linkSpeed,
                    "Speed of the link in bits per second; an interface may know its own, a file doesn't")
        ->check(CLI::Range(0L, std::numeric_limits<long>::max()).description("0 or more"))
        ->type_name("BITS");
}

void configure(KetStats::CKetrinStatManager & manager, CAnalysisOptions const & options)
{
    enableGroups(manager, options.enable);
    if (!options.tcpPorts.empty()) {
        CPorts const ports = parsedPorts("--tcp-ports", options.tcpPorts);
        manager.setTCPPortRange(ports.low, ports.high);
    }
    if (!options.udpPorts.empty()) {
        CPorts const ports = parsedPorts("--udp-ports", options.udpPorts);
        manager.setUDPPortRange(ports.low, ports.high);
    }
}

} // namespace ketmon
