#include "host/commands/SchemaCommand.h"

#include "host/render/TextTable.h"
#include "host/support/Output.h"

#include "ketstats/ketstats.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <vector>

namespace ketmon {

using namespace KetStats;
using nlohmann::ordered_json;

namespace {

// A description and where its statistics stand. Below a table any row may stand, so its id is a star.
struct CPlace
{
    CStatDescription const & description;
    std::string oid;
    unsigned int depth;

    CPlace below(CStatDescription const & child) const
    {
        bool const row = description.getStatType() == CStatDescription::stDynamicArray;
        return {child, oid + '.' + (row ? "*" : std::to_string(child.getOid())), depth + 1};
    }
};

// What a value is, by what its first format takes and its description reads.
char const * typeOf(CStatDescription const & description)
{
    if (description.isInteger())
        return "integer";
    if (description.isNumeric())
        return "number";
    switch (description.getFormat(0)->getValueType()) {
    case CStatFormatBase::vtMAC:
        return "MAC address";
    case CStatFormatBase::vtIP:
        return "IP address";
    case CStatFormatBase::vtIPv6:
        return "IPv6 address";
    case CStatFormatBase::vtInteger:
        return "protocol id";
    default:
        return "text";
    }
}

char const * kindOf(CPlace const & place)
{
    switch (place.description.getStatType()) {
    case CStatDescription::stValue:
        return typeOf(place.description);
    case CStatDescription::stDynamicArray:
        return "table";
    default:
        return place.oid.back() == '*' ? "row" : "group";
    }
}

CNumericStatDescriptionBase const * numeric(CStatDescription const & description)
{
    return dynamic_cast<CNumericStatDescriptionBase const *>(&description);
}

std::string formatText(CStatFormatBase const & format)
{
    Multiplier const * const multiplier = format.getMultiplier();
    return format.getName() + (multiplier ? " " + multiplier->abbrev : "");
}

// "Integer value, K, M": formats of one name follow each other.
std::string formatsOf(CStatDescription const & description)
{
    std::string text;
    std::string last;
    for (unsigned int index = 0; index < description.getFormatCount(); ++index) {
        CStatFormatBase const & format = *description.getFormat(index);
        bool const same = format.getName() == last && format.getMultiplier();
        text += (index == 0 ? "" : ", ") + (same ? format.getMultiplier()->abbrev : formatText(format));
        last = format.getName();
    }
    return text;
}

void addLines(CTextTable & table, CPlace const & place)
{
    auto const * const units = numeric(place.description);
    table.addRow({place.oid,
                  std::string(std::size_t{2} * place.depth, ' ') + place.description.getStringDescription(),
                  kindOf(place), units ? fmt::format("{} ({})", units->getUnits(), units->getAbbrev()) : "",
                  formatsOf(place.description)});
    for (unsigned int i = 0; i < place.description.getSubStatsCount(); ++i)
        addLines(table, place.below(*place.description.subStatDescription(i)));
}

ordered_json toJson(CPlace const & place)
{
    CStatDescription const & description = place.description;
    ordered_json object;
    object["oid"] = place.oid;
    object["name"] = description.getStringDescription();
    object["kind"] = kindOf(place);
    if (auto const * const units = numeric(description))
        object["unit"] = {
            {"one", units->getUnit()}, {"many", units->getUnits()}, {"short", units->getAbbrev()}};
    for (unsigned int index = 0; index < description.getFormatCount(); ++index) {
        CStatFormatBase const & format = *description.getFormat(index);
        ordered_json entry{{"name", format.getName()}};
        if (Multiplier const * const multiplier = format.getMultiplier())
            entry["multiplier"] = {
                {"name", multiplier->name}, {"symbol", multiplier->abbrev}, {"value", multiplier->value}};
        object["formats"].push_back(std::move(entry));
    }
    for (unsigned int i = 0; i < description.getSubStatsCount(); ++i)
        object["below"].push_back(toJson(place.below(*description.subStatDescription(i))));
    return object;
}

} // namespace

void addSchemaCommand(CLI::App & app)
{
    auto const options = std::make_shared<CSchemaOptions>();
    CLI::App * const command =
        app.add_subcommand("schema", "Print what is counted, with identifiers and units");
    command->add_flag("--json", options->json, "Print one JSON object instead of a table");
    command->callback([options] { printSchema(*options); });
}

void printSchema(CSchemaOptions const & options)
{
    std::vector<CPlace> roots;
    for (CStatDescription const * const root :
         {static_cast<CStatDescription const *>(&CAgentStatistic::groupDescription()),
          static_cast<CStatDescription const *>(&CExtendedStatistic::groupDescription())})
        roots.push_back({*root, std::to_string(root->getOid()), 0});
    if (options.json) {
        ordered_json object = toJson(roots.front());
        object["extended"] = toJson(roots.back());
        writeOutput(object.dump(2) + '\n');
        return;
    }
    CTextTable table;
    for (char const * heading : {"Identifier", "Name", "Kind", "Unit", "Formats"})
        table.addColumn(heading, CTextTable::left);
    for (CPlace const & root : roots)
        addLines(table, root);
    writeOutput(table.toString(""));
}

} // namespace ketmon
