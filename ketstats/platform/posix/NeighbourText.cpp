#include "ketstats/platform/posix/NeighbourText.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>

namespace KetStats::platform {

namespace {

constexpr unsigned int completeFlag = 0x2;
constexpr unsigned int dynamicEntry = 3;

// The first six bytes, with zeros behind fewer. An interface without hardware addresses has none at all, and
// the mask that follows them, which is always "*", is what is met then.
bool parseHardwareAddress(char const * text, std::array<unsigned char, 6> & bytes)
{
    bytes = {};
    if (std::strcmp(text, "*") == 0)
        return true;
    char const * const end = text + std::strlen(text);
    for (unsigned char & byte : bytes) {
        unsigned int octet = 0;
        auto const read = std::from_chars(text, end, octet, 16);
        if (read.ec != std::errc() || octet > 0xFF)
            return false;
        byte = static_cast<unsigned char>(octet);
        if (read.ptr == end)
            return true;
        if (*read.ptr != ':')
            return false;
        text = read.ptr + 1;
    }
    return true;
}

bool parseLine(std::string const & line, CNeighbour & row)
{
    char address[64] = "";
    unsigned int type = 0;
    unsigned int flags = 0;
    char hardwareAddress[64] = "";
    if (std::sscanf(line.c_str(), "%63s %x %x %63s", address, &type, &flags, hardwareAddress) != 4 ||
        !parseHardwareAddress(hardwareAddress, row.hardwareAddress))
        return false;
    in_addr parsed{};
    if (inet_pton(AF_INET, address, &parsed) != 1)
        return false;
    row.address = parsed.s_addr;
    row.type = (flags & completeFlag) != 0 ? dynamicEntry : CNeighbour::invalid;
    return true;
}

} // namespace

bool parseNeighbours(std::istream & text, std::vector<CNeighbour> & rows)
{
    rows.clear();
    std::string line;
    std::getline(text, line); // the heading
    while (std::getline(text, line)) {
        CNeighbour row;
        if (parseLine(line, row))
            rows.push_back(row);
        if (4 + rows.size() * neighbourRowBytes > neighbourTableBytes)
            return false;
    }
    return true;
}

} // namespace KetStats::platform
