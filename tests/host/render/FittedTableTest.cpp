#include "host/render/FittedTable.h"

#include "host/support/Utf8.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <utility>

using namespace ketmon;

namespace {

// Needs 46 columns for all of it, and 12 more for the shortest bar.
CFittedTable sample(bool ascii = true)
{
    CFittedTable table(ascii);
    table.addColumn({"Name", CFittedTable::left, 0, 6, 0});
    table.addColumn({"Kind", CFittedTable::left, 3});
    table.addColumn({"Sent", CFittedTable::right, 2});
    table.addColumn({"Back", CFittedTable::right, 2});
    table.addColumn({"All"});
    table.setBar(1, 10, 20);
    table.addRow({"short", "odd", "1", "2", "3"}, 0.5);
    table.addRow({"a much longer name", "even", "10", "20", "30"}, 1.0);
    return table;
}

TEST(FittedTable, HasAllOfItWhereThereIsRoom)
{
    EXPECT_EQ(sample().toString(80), "  Name                Kind  Sent  Back  All\n"
                                     "  short               odd      1     2    3  ##########\n"
                                     "  a much longer name  even    10    20   30  ####################\n");
}

TEST(FittedTable, ShortensTheBarAndThenTexts)
{
    EXPECT_EQ(sample().toString(55), "  Name                Kind  Sent  Back  All\n"
                                     "  short               odd      1     2    3  #####\n"
                                     "  a much longer name  even    10    20   30  ##########\n");
    EXPECT_EQ(sample().toString(45), "  Name      Kind  Sent  Back  All\n"
                                     "  short     odd      1     2    3  #####\n"
                                     "  a much ~  even    10    20   30  ##########\n");
}

TEST(FittedTable, LeavesOutTheMostDispensableColumnsThoseOfOneRankTogether)
{
    EXPECT_EQ(sample().toString(42), "  Name         Sent  Back  All\n"
                                     "  short           1     2    3  #####\n"
                                     "  a much lon~    10    20   30  ##########\n");
    EXPECT_EQ(sample().toString(35), "  Name              All\n"
                                     "  short               3  #####\n"
                                     "  a much longer n~   30  ##########\n");
}

TEST(FittedTable, LeavesTheBarOutWhenItsTurnComes)
{
    EXPECT_EQ(sample().toString(15), "  Name      All\n"
                                     "  short       3\n"
                                     "  a much ~   30\n");
}

TEST(FittedTable, NeverIsWiderThanItsWidthIfThatCanBe)
{
    for (bool const ascii : {true, false})
        for (std::size_t width = 13; width < 100; ++width) {
            std::istringstream lines(sample(ascii).toString(width));
            for (std::string line; std::getline(lines, line);) {
                EXPECT_LE(columnsOf(line), width) << line;
                EXPECT_FALSE(line.ends_with(' ')) << line;
            }
        }
}

TEST(FittedTable, CutsInTheMiddleWhereThatIsAskedFor)
{
    CFittedTable table(true);
    CFittedTable::CColumn column{"Address", CFittedTable::left, 0, 4, 0};
    column.inMiddle = true;
    table.addColumn(column);
    table.addRow({"2001:db8::\u00E4:1"});
    for (auto const & [width, text] : {std::pair(16, "  2001:db8::\u00E4:1\n"),
                                       {14, "  2001:d~::\u00E4:1\n"},
                                       {11, "  2001~:\u00E4:1\n"},
                                       {6, "  20~1\n"}})
        EXPECT_THAT(table.toString(static_cast<std::size_t>(width)), testing::EndsWith(text)) << width;
}

TEST(FittedTable, DrawsBarsInEighthsWhereItMay)
{
    CFittedTable table(false);
    table.addColumn({"Name", CFittedTable::left});
    table.setBar(0, 4, 4);
    table.addRow({"all"}, 1.0);
    table.addRow({"half"}, 0.5);
    table.addRow({"3/8 of one"}, 0.09375);
    table.addRow({"hardly"}, 1e-9);
    table.addRow({"none"}, 0.0);
    table.addRow({"more"}, 7.0);
    table.addRow({"unknown"});

    EXPECT_EQ(table.toString(80), "  Name\n"
                                  "  all         \u2588\u2588\u2588\u2588\n"
                                  "  half        \u2588\u2588\n"
                                  "  3/8 of one  \u258D\n"
                                  "  hardly      \u258F\n"
                                  "  none\n"
                                  "  more        \u2588\u2588\u2588\u2588\n"
                                  "  unknown\n");
}

TEST(FittedTable, AlignsWhatIsNotAscii)
{
    CFittedTable table(false);
    table.addColumn({"Name", CFittedTable::left, 0, 5, 8});
    table.addColumn({"N"});
    table.addRow({"\u00E4\u00F6\u00FC", "1"});
    table.addRow({"\u00E4\u00F6\u00FC\u00E4\u00F6\u00FC\u00E4\u00F6\u00FC\u00E4", "2"});

    EXPECT_EQ(table.toString(80), "  Name      N\n"
                                  "  \u00E4\u00F6\u00FC       1\n"
                                  "  \u00E4\u00F6\u00FC\u00E4\u00F6\u00FC\u00E4\u2026  2\n");
}

TEST(FittedTable, HasNoColumnWithoutAnyText)
{
    CFittedTable table(true);
    table.addColumn({"Name", CFittedTable::left});
    table.addColumn({"Nothing", CFittedTable::left});
    table.addColumn({"N"});
    table.addRow({"one", "", "1"});

    EXPECT_EQ(table.toString(80), "  Name  N\n  one   1\n");
}

} // namespace
