#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include <unistd.h>

using namespace test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::UnorderedElementsAre;

namespace {

using Words = std::vector<std::string>;

// What bash offers for the last of the words behind a program's name, which readline has cut as it does.
Words offered(Words const & words, std::string const & program = KETMON_PROGRAM)
{
    // Stands in for readline: calls what the script registered for ketmon.
    std::string const readline = "set -u; . \"$0\"; spec=$(complete -p ketmon); spec=${spec#* -F };"
                                 "COMP_WORDS=(\"$@\") COMP_CWORD=$(($# - 1));"
                                 "${spec%% *} \"$1\" \"${@: -1}\" \"${@: -2:1}\";"
                                 "for word in \"${COMPREPLY[@]}\"; do echo \"<$word>\"; done";
    Words command{"bash", "--norc", "-c", readline, KETMON_COMPLETION, program};
    command.insert(command.end(), words.begin(), words.end());
    Outcome const outcome = run(command);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    Words all;
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);)
        all.push_back(line.substr(1, line.size() - 2));
    return all;
}

// A folder with two captures, of which one has a colon and a blank in its name, gone with the object.
class Folder
{
public:
    Folder() : m_path(std::filesystem::temp_directory_path() / ("ketmon-test-" + std::to_string(getpid())))
    {
        std::filesystem::create_directory(m_path);
        for (char const * name : {"first.pcap", "second 10:30.pcap"})
            std::ofstream(m_path / name) << "";
    }
    ~Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Folder(Folder const &) = delete;
    Folder & operator=(Folder const &) = delete;

    std::string operator/(std::string const & name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

} // namespace

TEST(Completion, OffersTheCommands)
{
    EXPECT_THAT(offered({""}), UnorderedElementsAre("read", "show", "filter", "schema", "agent", "console",
                                                    "bench", "interfaces"));
    EXPECT_THAT(offered({"s"}), UnorderedElementsAre("show", "schema"));
    EXPECT_THAT(offered({"-"}), UnorderedElementsAre("-h", "--help", "--version", "-D", "--list-interfaces"));
}

TEST(Completion, OffersTheOptionsOfTheCommand)
{
    EXPECT_THAT(
        offered({"read", "--"}),
        AllOf(IsSupersetOf({"--read", "--json", "--save-snapshot", "--quiet"}), Not(Contains("--pace"))));
    EXPECT_THAT(offered({"agent", "--pa"}), ElementsAre("--pace"));
    EXPECT_THAT(offered({"schema", "-"}), UnorderedElementsAre("-h", "--help", "--json"));
    EXPECT_THAT(offered({"filter", "-q", "-"}), IsSupersetOf({"-q", "-w", "--frames"}));
}

TEST(Completion, OffersNoOptionsBehindTwoDashes)
{
    EXPECT_THAT(offered({"read", "--", "--"}), IsEmpty());
}

TEST(Completion, OffersTheValuesThatAnOptionTakes)
{
    EXPECT_THAT(offered({"read", "--multiplier", ""}), ElementsAre("none", "binary", "decimal"));
    EXPECT_THAT(offered({"show", "--multiplier", "d"}), ElementsAre("decimal"));
    EXPECT_THAT(offered({"read", "--top", ""}), IsEmpty());
}

TEST(Completion, TakesAValueBehindAnEqualsSign)
{
    // With "=" among COMP_WORDBREAKS, as is usual, and without it.
    EXPECT_THAT(offered({"read", "--multiplier", "="}), ElementsAre("none", "binary", "decimal"));
    EXPECT_THAT(offered({"read", "--multiplier", "=", "b"}), ElementsAre("binary"));
    EXPECT_THAT(offered({"read", "--multiplier=b"}), ElementsAre("--multiplier=binary"));
}

TEST(Completion, OffersTheGroupsThatCanBeEnabled)
{
    Words const groups = offered({"bench", "--enable", ""});

    EXPECT_EQ(groups.size(), 17U);
    Words command{"read", capture("empty.pcap")};
    for (std::string const & group : groups)
        command.insert(command.end(), {"--enable", group});
    EXPECT_EQ(ketmon(command).exitCode, 0);
    EXPECT_THAT(offered({"agent", "--enable", "n"}), ElementsAre("none"));
}

TEST(Completion, OffersTheStatisticsThatCanBeSelected)
{
    Words const selectable = offered({"console", "--select", ""});

    EXPECT_THAT(selectable, IsSupersetOf({"1", "1.1.2", "1.4.1", "1.10", "1.11.2"}));
    Words command{"console", "127.0.0.1:1"};
    for (std::string const & oid : selectable)
        command.insert(command.end(), {"--select", oid});
    EXPECT_EQ(ketmon(command).exitCode, 1) << "nobody listens there, and all else is well";
}

TEST(Completion, OffersTheTablesWhoseRowsCanBeSet)
{
    Words const tables = offered({"read", "--rows", ""});

    EXPECT_EQ(tables.size(), 19U);
    Words command{"read", "-q", capture("empty.pcap")};
    for (std::string const & table : tables)
        command.insert(command.end(), {"--rows", table == "standard" ? table : table + "5"});
    EXPECT_EQ(ketmon(command).exitCode, 0);
    EXPECT_THAT(offered({"agent", "--rows", "station_t"}), ElementsAre("station_tcp_ports="));
}

TEST(Completion, OffersTheInterfacesOfTheSystem)
{
    EXPECT_THAT(offered({"agent", "-i", ""}), testing::IsSupersetOf({"lo", "any"}));
    EXPECT_THAT(offered({"agent", "--interface", "l"}), Contains("lo"));
    EXPECT_THAT(offered({"agent", "--wait", "-p", "-i", "l"}), Contains("lo")) << "flags take no value";
}

TEST(Completion, OffersFilesWhereTheyAreMeant)
{
    Folder const folder;
    std::string const first = folder / "first.pcap";

    EXPECT_THAT(offered({"read", folder / "f"}), ElementsAre(first));
    EXPECT_THAT(offered({"read", "--top", "5", "--json", folder / "f"}), ElementsAre(first));
    EXPECT_THAT(offered({"read", folder / ""}), UnorderedElementsAre(first, folder / "second 10:30.pcap"));
    EXPECT_THAT(offered({"agent", "-r", folder / "f"}), ElementsAre(first));
    EXPECT_THAT(offered({"agent", "--read", "=", folder / "f"}), ElementsAre(first));
    EXPECT_THAT(offered({"filter", "a", "1.5.1", "-w", folder / "f"}), ElementsAre(first));
    EXPECT_THAT(offered({"read", "a", "--save-snapshot", folder / "f"}), ElementsAre(first));
    EXPECT_THAT(offered({"show", "a", "b", folder / "f"}), ElementsAre(first));
}

TEST(Completion, OffersNoFilesElsewhere)
{
    Folder const folder;

    EXPECT_THAT(offered({"agent", folder / "f"}), IsEmpty());
    EXPECT_THAT(offered({"console", folder / "f"}), IsEmpty());
    EXPECT_THAT(offered({"read", "--filter", folder / "f"}), IsEmpty());
}

TEST(Completion, GoesOnBehindAColon)
{
    Folder const folder;

    EXPECT_THAT(offered({"read", folder / "second 10", ":"}), ElementsAre("30.pcap"));
    EXPECT_THAT(offered({"read", folder / "second 10", ":", "3"}), ElementsAre("30.pcap"));
    EXPECT_THAT(offered({"read", folder / "second\\ 10", ":", "3"}), ElementsAre("30.pcap"));
}

TEST(Completion, OffersNothingWithoutTheProgram)
{
    EXPECT_THAT(offered({""}, "/nowhere/ketmon"), IsEmpty());
    EXPECT_THAT(offered({"read", "-"}, "/nowhere/ketmon"), IsEmpty());
    EXPECT_THAT(offered({"read", ""}, "/nowhere/ketmon"), IsEmpty());
}
