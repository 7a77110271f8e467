#include "ketstats/platform/windows/NeighbourRows.h"

#include "ketstats/platform/SystemTypes.h"

#include <gtest/gtest.h>

#include <iphlpapi.h>

using KetStats::platform::CNeighbour;
using KetStats::platform::readNeighbourRows;

namespace {

TEST(NeighbourRows, AreTakenInTheOrderOfTheSystem)
{
    std::vector<CNeighbour> rows(3); // of an earlier use

    bool const complete = readNeighbourRows(
        [](void * buffer, unsigned long *, int) -> unsigned long {
            auto & table = *static_cast<MIB_IPNETTABLE *>(buffer);
            table.dwNumEntries = 2;
            // Of the length of an address, and the interface, nothing is taken.
            table.table[0] = {7, 6, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77}, 0x010200C0, {3}};
            (&table.table[0])[1] = {9, 8, {0x80, 0, 2, 8, 0xFE, 0x80, 1, 2}, 0x0200000A, {2}};
            return NO_ERROR;
        },
        rows);

    EXPECT_TRUE(complete);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].address, 0x010200C0U) << "192.0.2.1 as it lies";
    EXPECT_EQ(rows[0].hardwareAddress, (std::array<unsigned char, 6>{0, 0x11, 0x22, 0x33, 0x44, 0x55}));
    EXPECT_EQ(rows[0].type, 3U);
    EXPECT_EQ(rows[1].address, 0x0200000AU);
    EXPECT_EQ(rows[1].hardwareAddress, (std::array<unsigned char, 6>{0x80, 0, 2, 8, 0xFE, 0x80}));
    EXPECT_EQ(rows[1].type, CNeighbour::invalid);
}

TEST(NeighbourRows, FailureOfTheSystemIsTold)
{
    static constexpr unsigned long failures[] = {ERROR_INSUFFICIENT_BUFFER, ERROR_NO_DATA,
                                                 ERROR_NOT_SUPPORTED};
    static unsigned long failure;
    for (unsigned long const wanted : failures) {
        failure = wanted;
        std::vector<CNeighbour> rows;
        EXPECT_FALSE(readNeighbourRows([](void *, unsigned long *, int) { return failure; }, rows)) << wanted;
    }
}

// A larger table isn't asked for again with more room.
TEST(NeighbourRows, AreAskedForOnceUnsortedInTenThousandBytes)
{
    static int calls;
    static unsigned long told;
    static int sortedTold;
    calls = 0;
    std::vector<CNeighbour> rows;

    bool const complete = readNeighbourRows(
        [](void *, unsigned long * size, int sorted) -> unsigned long {
            ++calls;
            told = *size;
            sortedTold = sorted;
            *size = 10012;
            return ERROR_INSUFFICIENT_BUFFER;
        },
        rows);

    EXPECT_FALSE(complete);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(told, 10000U);
    EXPECT_EQ(sortedTold, 0);
}

TEST(NeighbourRows, LargestTableThatFitsHas416Rows)
{
    std::vector<CNeighbour> rows;

    bool const complete = readNeighbourRows(
        [](void * buffer, unsigned long *, int) -> unsigned long {
            auto & table = *static_cast<MIB_IPNETTABLE *>(buffer);
            table.dwNumEntries = 416;
            for (DWORD i = 0; i < 416; ++i)
                (&table.table[0])[i] = {1, 6, {}, i, {3}};
            return NO_ERROR;
        },
        rows);

    EXPECT_TRUE(complete);
    ASSERT_EQ(rows.size(), 416U);
    EXPECT_EQ(rows[415].address, 415U);
}

} // namespace
