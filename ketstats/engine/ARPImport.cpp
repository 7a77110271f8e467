#include "ketstats/engine/StatManager.h"

namespace KetStats {

bool CKetrinStatManager::InsertARPTable()
{
    return InsertARPTable(&platform::readNeighbours);
}

// The gate is held across the system call. A table with no rows, and a first row that finds no room, yield
// false; a row that is skipped counts as handled.
bool CKetrinStatManager::InsertARPTable(bool (*readNeighbours)(std::vector<platform::CNeighbour> &))
{
    CWriteGuard const guard(gate);
    std::vector<platform::CNeighbour> rows;
    if (!readNeighbours(rows))
        return false;
    unsigned int handled = 0;
    for (platform::CNeighbour const & row : rows) {
        if (row.type != platform::CNeighbour::invalid &&
            !agentStatistic.arpTable.learn(CIPAddress(row.address),
                                           CMACAddrPacked(CMACAddr(row.hardwareAddress.data()))))
            break;
        ++handled;
    }
    return handled > 0;
}

} // namespace KetStats
