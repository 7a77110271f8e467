#include "ketstats/platform/posix/NeighbourText.h"

#include <arpa/inet.h>

#include <cstdio>
#include <string>

namespace KetStats::platform {

namespace {

constexpr unsigned int completeFlag = 0x2;
constexpr unsigned int dynamicEntry = 3;

bool parseLine(std::string const & line, CNeighbour & row)
{
    char address[64] = "";
    unsigned int type = 0;
    unsigned int flags = 0;
    unsigned int octets[6] = {};
    if (std::sscanf(line.c_str(), "%63s %x %x %x:%x:%x:%x:%x:%x", address, &type, &flags, &octets[0],
                    &octets[1], &octets[2], &octets[3], &octets[4], &octets[5]) != 9)
        return false;
    in_addr parsed{};
    if (inet_pton(AF_INET, address, &parsed) != 1)
        return false;
    row.address = parsed.s_addr;
    for (std::size_t i = 0; i < 6; ++i) {
        if (octets[i] > 0xFF)
            return false;
        row.hardwareAddress[i] = static_cast<unsigned char>(octets[i]);
    }
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
