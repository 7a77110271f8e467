#include "ketstats/platform/NeighbourTable.h"

#include "ketstats/platform/posix/NeighbourText.h"

#include <fstream>

namespace KetStats::platform {

bool readNeighbours(std::vector<CNeighbour> & rows)
{
    std::ifstream file("/proc/net/arp");
    return file && parseNeighbours(file, rows);
}

} // namespace KetStats::platform
