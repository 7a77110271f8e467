#pragma once

// Ids of the strings that the library's own code asks for by name; the ids of names and units stand with the
// statistics that bear them.
namespace KetStats::StringIds {

constexpr unsigned int unknownStatistic = 1100;
constexpr unsigned int cannotFormat = 1205;
constexpr unsigned int unknownFormatName = 1208;

} // namespace KetStats::StringIds
