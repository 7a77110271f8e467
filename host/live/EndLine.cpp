#include "host/live/EndLine.h"

#include "host/capture/LinkType.h"
#include "host/support/Failure.h"
#include "host/support/Output.h"
#include "host/support/TimeText.h"

#include <fmt/core.h>

namespace ketmon {

namespace {

using KetStats::CLedger;
using KetStats::CLedgers;

unsigned long long rowsGivenUp(CLedgers const & ledgers)
{
    unsigned long long rows = 0;
    for (CLedger const & ledger :
         {ledgers.stations, ledgers.protocols, ledgers.macConnections, ledgers.ipConnections,
          ledgers.arpTable, ledgers.ipSubprotocols, ledgers.tcpPorts, ledgers.udpPorts,
          ledgers.stationTcpPorts, ledgers.stationUdpPorts, ledgers.ipv6Connections, ledgers.ipv6Protocols,
          ledgers.ipv6TcpPorts, ledgers.ipv6UdpPorts, ledgers.vlans, ledgers.innerVlans, ledgers.neighbours})
        rows += ledger.rows;
    return rows;
}

std::string counted(unsigned long long count, char const * noun)
{
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string moment(long long ticks)
{
    return timeText(ticks).value_or("a time that no calendar has");
}

// What frames of a link type are left out for that would be counted by themselves.
char const * togetherWith(std::uint32_t linkType)
{
    return !isCountable(linkType)                           ? ""
           : mediaFamily(linkType) == MediaFamily::ethernet ? " together with those of other media"
                                                            : " together with those of Ethernet";
}

} // namespace

std::string endLine(CCaptureSummary const & summary, CLedgers const & ledgers,
                    std::optional<CDrops> const & drops)
{
    std::string line = counted(summary.frames, "frame") + " counted";
    if (drops)
        line += fmt::format(", {} dropped by the kernel, {} by the interface", drops->byKernel,
                            drops->byInterface);
    line += fmt::format(", {} given up", counted(rowsGivenUp(ledgers), "row"));
    if (summary.first)
        line += fmt::format(", {} to {}", moment(*summary.first), moment(*summary.last));
    return line;
}

std::vector<std::string> leftOutLines(CSourceFaults const & faults)
{
    std::vector<std::string> lines;
    for (auto const & [type, frames] : faults.leftOut)
        lines.push_back(fmt::format("left out: {} of link type {}, which can't be counted{}",
                                    counted(frames, "frame"), linkTypeText(type), togetherWith(type)));
    for (std::string const & file : faults.unfinished)
        lines.push_back(fmt::format("{}: is still written to, and was counted as far as it went", file));
    return lines;
}

void tellEnd(CCaptureSummary const & summary, CLedgers const & ledgers, std::optional<CDrops> const & drops,
             bool quiet)
{
    for (std::string const & line : leftOutLines(summary.faults))
        tell(line);
    if (!quiet)
        tell(endLine(summary, ledgers, drops));
    std::vector<std::string> const & damage = summary.faults.damage;
    for (std::size_t i = 0; i + 1 < damage.size(); ++i)
        tell(damage[i]);
    if (!damage.empty())
        throw CFailure(exitBadInput, damage.back());
}

} // namespace ketmon
