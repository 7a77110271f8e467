#pragma once

// Ids of the strings that the library's own code asks for by name; the ids of names and units stand with the
// statistics that bear them.
namespace KetStats::StringIds {

constexpr unsigned int unknownStatistic = 1100;
constexpr unsigned int macAddressFormat = 1164;
constexpr unsigned int ipAddressFormat = 1165;
constexpr unsigned int integerFormat = 1167;
constexpr unsigned int fixedPointFormat = 1168;
constexpr unsigned int cannotFormat = 1205;
constexpr unsigned int invalidFormat = 1206;
constexpr unsigned int stringFormat = 1207;
constexpr unsigned int unknownFormatName = 1208;
constexpr unsigned int integerHexFormat = 1209;
constexpr unsigned int shortNameFormat = 1213;
constexpr unsigned int longNameFormat = 1214;
constexpr unsigned int otherAddresses = 1221;
constexpr unsigned int ipv6AddressFormat = 1242;
constexpr unsigned int ipv6AddressBytesFormat = 1243;

} // namespace KetStats::StringIds
