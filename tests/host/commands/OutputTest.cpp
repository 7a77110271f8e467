#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using test::capture;
using test::Outcome;
using test::TemporaryFile;
using testing::HasSubstr;

namespace {

// ketmon with its standard output, or another stream, somewhere else: ">/dev/full", ">&-".
Outcome redirected(std::string const & where, std::vector<std::string> const & arguments)
{
    std::vector<std::string> command = {"sh", "-c", "exec \"$@\" " + where, "sh", KETMON_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return test::run(command);
}

std::vector<std::vector<std::string>> commandsThatPrint(TemporaryFile const & snapshot)
{
    std::string const file = capture("nanosecond-big-endian.pcap");
    test::ketmon({"read", "-q", file, "--save-snapshot", snapshot.path()});
    return {{"--help"},
            {"--version"},
            {"read", "-q", file},
            {"read", "-q", "--json", file},
            {"show", snapshot.path()},
            {"show", "--json", snapshot.path()},
            {"filter", "-q", file, "1.5.1"},
            {"filter", "-q", "--frames", file, "1.5.1"},
            {"schema"},
            {"schema", "--json"},
            {"bench", "--passes", "1", file},
            {"bench", "--passes", "1", "--json", file},
            {"agent", "-q", "-r", file, "--listen", "127.0.0.1:0", "--pace", "0"}};
}

TEST(Output, ThatCanNotBeWrittenIsAFailureOfEveryCommand)
{
    TemporaryFile const snapshot("");
    for (auto const & arguments : commandsThatPrint(snapshot))
        for (char const * const where : {">/dev/full", ">&-"}) {
            Outcome const outcome = redirected(where, arguments);

            EXPECT_EQ(outcome.exitCode, 1) << arguments.front() << ' ' << where << outcome.errors;
            EXPECT_THAT(outcome.errors, HasSubstr("ketmon: the output can't be written: "))
                << arguments.front() << ' ' << where;
        }
}

// A descriptor that is free is the next that a file gets.
TEST(Output, OfAClosedStreamGoesIntoNoFile)
{
    TemporaryFile const file("");
    for (char const * const where : {">&-", "2>&-", "<&- >&- 2>&-"}) {
        redirected(where,
                   {"filter", "--frames", capture("internet-mixed.pcap"), "1.8.101", "-w", file.path()});
        Outcome const copy = test::ketmon({"read", "-q", "--tree", "--json", file.path()});
        if (copy.exitCode == 0)
            EXPECT_EQ(copy.json()["frames"], 383) << where;
        else
            EXPECT_EQ(test::fileContents(file.path()), "") << where;
    }
}

TEST(Output, OfErrorsMayFailWithoutChangingTheExitCode)
{
    for (char const * const where : {"2>/dev/full", "2>&-"}) {
        EXPECT_EQ(redirected(where, {"read", "/no/such/file"}).exitCode, 2) << where;
        EXPECT_EQ(redirected(where, {"read", capture("empty.pcap")}).exitCode, 0) << where;
        EXPECT_EQ(redirected(where, {"nonsense"}).exitCode, 2) << where;
    }
}

} // namespace
