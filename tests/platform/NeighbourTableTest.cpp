#include "ketstats/platform/NeighbourTable.h"

#include <gtest/gtest.h>

namespace {

// What it holds differs from machine to machine.
TEST(NeighbourTable, OfThisMachineHasAddressesAndIsWithinItsLimit)
{
    std::vector<KetStats::platform::CNeighbour> rows;
    if (!KetStats::platform::readNeighbours(rows))
        GTEST_SKIP() << "this machine doesn't tell its table, or it is too large";

    EXPECT_LE(rows.size(), 416U);
    for (auto const & row : rows)
        EXPECT_NE(row.address, 0U);
}

} // namespace
