#include "ketstats/platform/NeighbourTable.h"

#include "ketstats/platform/SystemTypes.h"
#include "ketstats/platform/windows/NeighbourRows.h"

#include <iphlpapi.h>

#include <algorithm>
#include <cstddef>

namespace KetStats::platform {

namespace {

static_assert(offsetof(MIB_IPNETTABLE, table) == 4 && sizeof(MIB_IPNETROW) == neighbourRowBytes,
              "the limit is counted in these");
static_assert(MIB_IPNET_TYPE_INVALID == CNeighbour::invalid);

unsigned long tableOfTheSystem(void * table, unsigned long * size, int sorted)
{
    return GetIpNetTable(static_cast<MIB_IPNETTABLE *>(table), size, sorted);
}

} // namespace

// How long a hardware address is, and which interface a row belongs to, isn't looked at.
bool readNeighbourRows(NeighbourTableOf tableOf, std::vector<CNeighbour> & rows)
{
    alignas(MIB_IPNETTABLE) unsigned char buffer[neighbourTableBytes];
    unsigned long size = sizeof buffer;
    rows.clear();
    if (tableOf(buffer, &size, FALSE) != NO_ERROR)
        return false;
    auto const & table = *reinterpret_cast<MIB_IPNETTABLE const *>(buffer);
    for (MIB_IPNETROW const * from = table.table; from != table.table + table.dwNumEntries; ++from) {
        CNeighbour row;
        row.address = from->dwAddr;
        std::copy_n(from->bPhysAddr, row.hardwareAddress.size(), row.hardwareAddress.begin());
        row.type = from->dwType;
        rows.push_back(row);
    }
    return true;
}

bool readNeighbours(std::vector<CNeighbour> & rows)
{
    return readNeighbourRows(&tableOfTheSystem, rows);
}

} // namespace KetStats::platform
