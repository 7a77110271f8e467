#include "host/commands/InterfacesCommand.h"

#include "host/render/Quantity.h"
#include "host/render/TextTable.h"
#include "host/support/Escaped.h"
#include "host/support/Output.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>

namespace ketmon {

using nlohmann::ordered_json;

namespace {

std::string orDash(std::string const & text)
{
    return text.empty() ? "-" : escaped(text);
}

ordered_json orNull(std::string const & text)
{
    return text.empty() ? ordered_json() : ordered_json(validUtf8(text));
}

char const * stateOf(CInterface const & interface)
{
    return !interface.up ? "down" : interface.running ? "up" : "no carrier";
}

} // namespace

void addInterfacesCommand(CLI::App & app)
{
    auto const json = std::make_shared<bool>(false);
    CLI::App * const command =
        app.add_subcommand("interfaces", "List the network interfaces that can be captured on; also -D");
    command->add_flag("--json", *json, "Print one JSON object instead of a table");
    command->callback([json] { printInterfaces(*json); });
}

void printInterfaces(bool json)
{
    std::vector<CInterface> const interfaces = networkInterfaces();
    writeOutput(json ? jsonOf(interfaces) : tableOf(interfaces));
}

std::string tableOf(std::vector<CInterface> interfaces)
{
    std::stable_partition(interfaces.begin(), interfaces.end(),
                          [](CInterface const & interface) { return interface.countable; });
    CTextTable table;
    for (char const * const heading : {"Name", "State", "Link", "Speed", "Driver", "Addresses"})
        table.addColumn(heading, CTextTable::left);
    for (CInterface const & interface : interfaces) {
        std::optional<double> speed;
        if (interface.bitsPerSecond)
            speed = static_cast<double>(*interface.bitsPerSecond);
        table.addRow({escaped(interface.name), stateOf(interface),
                      interface.loopback    ? "loopback"
                      : interface.ethernet  ? "Ethernet"
                      : interface.countable ? "IP"
                                            : "other, can't be counted",
                      bitRateText(speed), orDash(interface.driver),
                      orDash(fmt::format("{}", fmt::join(interface.addresses, ", ")))});
    }
    return table.toString("");
}

std::string jsonOf(std::vector<CInterface> const & interfaces)
{
    ordered_json document{{"interfaces", ordered_json::array()}};
    for (CInterface const & interface : interfaces) {
        ordered_json entry;
        entry["name"] = validUtf8(interface.name);
        entry["index"] = interface.index;
        entry["up"] = interface.up;
        entry["running"] = interface.running;
        entry["loopback"] = interface.loopback;
        entry["ethernet"] = interface.ethernet;
        entry["countable"] = interface.countable;
        entry["bits_per_second"] =
            interface.bitsPerSecond ? ordered_json(*interface.bitsPerSecond) : ordered_json();
        entry["driver"] = orNull(interface.driver);
        entry["mac"] = orNull(interface.mac);
        entry["addresses"] = interface.addresses;
        document["interfaces"].push_back(std::move(entry));
    }
    return document.dump(2) + '\n';
}

} // namespace ketmon
