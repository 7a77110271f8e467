#include "ketstats/platform/posix/NeighbourText.h"
#include "ketstats/platform/NeighbourTable.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

using KetStats::platform::CNeighbour;

namespace {

std::string const heading =
    "IP address       HW type     Flags       HW address            Mask     Device\n";

struct Parsed
{
    bool complete;
    std::vector<CNeighbour> rows;
};

Parsed parsed(std::string const & text)
{
    std::istringstream stream(text);
    std::vector<CNeighbour> rows(3); // of an earlier use
    bool const complete = KetStats::platform::parseNeighbours(stream, rows);
    return {complete, rows};
}

std::string line(std::string const & address, std::string const & flags = "0x2",
                 std::string const & hardware = "00:11:22:33:44:55")
{
    return address + "         0x1         " + flags + "         " + hardware + "     *        eth0\n";
}

// The address in the order of the wire, whatever that of the machine.
std::string dotted(CNeighbour const & row)
{
    auto const * const octets = reinterpret_cast<unsigned char const *>(&row.address);
    std::string text;
    for (int i = 0; i < 4; ++i)
        text += (i == 0 ? "" : ".") + std::to_string(octets[i]);
    return text;
}

TEST(NeighbourText, ReadsALineForARow)
{
    Parsed const table = parsed(heading + line("192.0.2.1") + line("10.1.2.255", "0x6", "fe:DC:ba:98:76:00"));

    EXPECT_TRUE(table.complete);
    ASSERT_EQ(table.rows.size(), 2U);
    EXPECT_EQ(dotted(table.rows[0]), "192.0.2.1");
    EXPECT_EQ(table.rows[0].hardwareAddress, (std::array<unsigned char, 6>{0, 0x11, 0x22, 0x33, 0x44, 0x55}));
    EXPECT_NE(table.rows[0].type, CNeighbour::invalid);
    EXPECT_EQ(dotted(table.rows[1]), "10.1.2.255");
    EXPECT_EQ(table.rows[1].hardwareAddress, (std::array<unsigned char, 6>{0xFE, 0xDC, 0xBA, 0x98, 0x76, 0}));
    EXPECT_NE(table.rows[1].type, CNeighbour::invalid);
}

TEST(NeighbourText, EntryWithoutTheCompleteFlagIsInvalid)
{
    EXPECT_EQ(CNeighbour::invalid, 2U);
    for (char const * const flags : {"0x0", "0x4", "0x8", "0xc"}) {
        Parsed const table = parsed(heading + line("192.0.2.1", flags, "00:00:00:00:00:00"));
        ASSERT_EQ(table.rows.size(), 1U) << flags;
        EXPECT_EQ(table.rows[0].type, CNeighbour::invalid) << flags;
    }
    for (char const * const flags : {"0x2", "0x6", "0xa", "0x22"}) {
        Parsed const table = parsed(heading + line("192.0.2.1", flags));
        ASSERT_EQ(table.rows.size(), 1U) << flags;
        EXPECT_NE(table.rows[0].type, CNeighbour::invalid) << flags;
    }
}

TEST(NeighbourText, EmptyTableIsComplete)
{
    for (std::string const & text : {std::string(), heading, heading.substr(0, 20), heading + "\n\n"}) {
        Parsed const table = parsed(text);
        EXPECT_TRUE(table.complete);
        EXPECT_TRUE(table.rows.empty()) << "the rows of an earlier use are gone";
    }
}

TEST(NeighbourText, LastLineMayEndWithoutALineFeed)
{
    std::string const text = heading + line("192.0.2.1");
    EXPECT_EQ(parsed(text.substr(0, text.size() - 1)).rows.size(), 1U);
}

TEST(NeighbourText, PassesOverWhatItCannotRead)
{
    for (std::string const & damaged :
         {std::string("\n"), std::string("nonsense\n"), std::string(300, 'x') + "\n", line("192.0.2"),
          line("192.0.2.256"), line("192.0.2.1.1"), line("fe80::1"), line("::ffff:192.0.2.1"), line("*"),
          line("192.0.2.1", "*"), line("192.0.2.1", "0x2", "00:"), line("192.0.2.1", "0x2", ":00"),
          line("192.0.2.1", "0x2", "00-11-22-33-44-55"), line("192.0.2.1", "0x2", "00:11:22:33:44:gg"),
          line("192.0.2.1", "0x2", "00:11:22:33:44:155"), line("192.0.2.1", "0x2", "0x11"),
          line("192.0.2.1", "0x2", "-1"), std::string("192.0.2.1         0x1         0x2\n")}) {
        Parsed const table = parsed(heading + line("192.0.2.7") + damaged + line("192.0.2.9"));
        EXPECT_TRUE(table.complete) << damaged;
        ASSERT_EQ(table.rows.size(), 2U) << damaged;
        EXPECT_EQ(dotted(table.rows[0]), "192.0.2.7") << damaged;
        EXPECT_EQ(dotted(table.rows[1]), "192.0.2.9") << damaged;
    }
}

TEST(NeighbourText, TakesAShorterHardwareAddressWithZerosBehindIt)
{
    Parsed const table = parsed(heading + line("192.0.2.1", "0x2", "00:11:22:33:44") +
                                line("192.0.2.2", "0x2", "fe") + line("192.0.2.3", "0x2", ""));

    ASSERT_EQ(table.rows.size(), 3U);
    EXPECT_EQ(table.rows[0].hardwareAddress, (std::array<unsigned char, 6>{0, 0x11, 0x22, 0x33, 0x44, 0}));
    EXPECT_EQ(table.rows[1].hardwareAddress, (std::array<unsigned char, 6>{0xFE, 0, 0, 0, 0, 0}));
    EXPECT_EQ(table.rows[2].hardwareAddress, (std::array<unsigned char, 6>{}));
    EXPECT_NE(table.rows[0].type, CNeighbour::invalid);
}

TEST(NeighbourText, TakesSixBytesOfALongerHardwareAddress)
{
    Parsed const table = parsed(heading + line("192.0.2.1", "0x2", "80:00:02:08:fe:80:00:00:00:0"));

    ASSERT_EQ(table.rows.size(), 1U);
    EXPECT_EQ(table.rows[0].hardwareAddress, (std::array<unsigned char, 6>{0x80, 0, 2, 8, 0xFE, 0x80}));
}

std::string linesFor(unsigned int rows, std::string const & flags = "0x2")
{
    std::string text = heading;
    for (unsigned int i = 0; i < rows; ++i)
        text += line("10.0." + std::to_string(i / 256) + '.' + std::to_string(i % 256), flags);
    return text;
}

// 4 bytes and 24 a row: 416 rows take 9988 bytes, and one more would take 10012.
TEST(NeighbourText, TableThatTakesMoreThanTheLimitIsNotTold)
{
    Parsed const largest = parsed(linesFor(416));
    EXPECT_TRUE(largest.complete);
    ASSERT_EQ(largest.rows.size(), 416U);
    EXPECT_EQ(dotted(largest.rows[415]), "10.0.1.159");

    EXPECT_FALSE(parsed(linesFor(417)).complete);
    EXPECT_FALSE(parsed(linesFor(5000)).complete);
}

TEST(NeighbourText, RowsThatDontHoldTakeRoomTooAndDamagedLinesDont)
{
    EXPECT_FALSE(parsed(linesFor(417, "0x0")).complete);

    std::string text = linesFor(416);
    for (int i = 0; i < 1000; ++i)
        text += "damaged\n";
    EXPECT_TRUE(parsed(text).complete);
    EXPECT_EQ(parsed(text).rows.size(), 416U);
}

} // namespace
