#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using nlohmann::ordered_json;
using test::capture;
using test::fileContents;
using test::ketmon;
using test::Outcome;
using test::TemporaryFile;
using testing::HasSubstr;

namespace {

// The files of a snapshot with its deltas, gone with the object.
class SavedSnapshots
{
public:
    explicit SavedSnapshots(std::string const & name, std::string const & interval)
        : m_base(""),
          m_read(ketmon({"read", "--tree", "--json", capture(name), "--interval", interval, "--save-snapshot",
                         m_base.path()}))
    {
        for (unsigned int i = 0; std::filesystem::exists(path(i)); ++i)
            m_paths.push_back(path(i));
    }
    ~SavedSnapshots()
    {
        for (std::string const & file : m_paths)
            std::filesystem::remove(file);
    }
    SavedSnapshots(SavedSnapshots const &) = delete;
    SavedSnapshots & operator=(SavedSnapshots const &) = delete;

    std::vector<std::string> const & paths() const { return m_paths; }
    Outcome const & read() const { return m_read; }

private:
    std::string path(unsigned int number) const { return m_base.path() + '.' + std::to_string(number); }

    TemporaryFile m_base;
    Outcome m_read;
    std::vector<std::string> m_paths;
};

TEST(ShowCommand, ShowsASavedSnapshotAsReadDoes)
{
    for (std::string const & name : test::captures()) {
        TemporaryFile const saved("");
        for (std::string const format : {"--json", "--top=0"}) {
            Outcome const read =
                ketmon({"read", "--tree", format, capture(name), "--save-snapshot", saved.path()});
            Outcome const show = ketmon({"show", "--tree", format, saved.path()});

            EXPECT_EQ(show.exitCode, 0) << show.errors;
            if (format == "--json")
                EXPECT_EQ(show.output, read.output) << name;
            else // they start with the name of the file
                EXPECT_EQ(show.output.substr(show.output.find(": ")),
                          read.output.substr(read.output.find(": ")))
                    << name;
        }
    }
}

TEST(ShowCommand, FollowsDeltas)
{
    SavedSnapshots const saved("many-connections.pcap", "0.5");
    ASSERT_EQ(saved.read().exitCode, 0) << saved.read().errors;
    ASSERT_GT(saved.paths().size(), 2U);
    std::vector<std::string> arguments = {"show", "--tree", "--json"};
    arguments.insert(arguments.end(), saved.paths().begin(), saved.paths().end());

    Outcome const show = ketmon(arguments);

    EXPECT_EQ(show.output, saved.read().output) << show.errors;
    // One sample or many come to the same but for the number of them.
    ordered_json whole = ketmon({"read", "--tree", "--json", capture("many-connections.pcap")}).json();
    whole["statistics"]["Global statistics"]["Sample number"] = saved.paths().size();
    EXPECT_EQ(show.json(), whole);
}

TEST(ShowCommand, RefusesDamagedFiles)
{
    TemporaryFile const saved("");
    ketmon({"read", capture("jumbo-ssh.pcap"), "--save-snapshot", saved.path()});
    std::string const whole = fileContents(saved.path());
    ASSERT_GT(whole.size(), 1000U);

    for (std::string const & bytes :
         {std::string(), whole.substr(0, 1), whole.substr(0, whole.size() / 2),
          whole.substr(0, whole.size() - 2), whole + whole, std::string("text")}) {
        TemporaryFile const damaged(bytes);
        Outcome const outcome = ketmon({"show", damaged.path()});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_EQ(outcome.output, "");
        EXPECT_THAT(outcome.errors, HasSubstr(damaged.path() + ": no packed snapshot: "));
        EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1);
    }
    EXPECT_EQ(ketmon({"show", "/no/such/file"}).exitCode, 2);
    EXPECT_EQ(ketmon({"show", "/"}).exitCode, 2);
    EXPECT_EQ(ketmon({"show"}).exitCode, 2);
}

TEST(ReadCommand, SaysWhyASnapshotCanNotBeSaved)
{
    Outcome const outcome =
        ketmon({"read", capture("empty.pcap"), "--save-snapshot", "/no/such/folder/snapshot"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("/no/such/folder/snapshot: can't be written: No such file"));
    EXPECT_EQ(ketmon({"read", capture("empty.pcap"), "--interval", "1"}).exitCode, 2) << "nowhere to save to";
}

TEST(ReadCommand, SavesNoSnapshotOverTheCapture)
{
    std::string const original = fileContents(capture("many-stations-arp.pcap"));
    TemporaryFile const file(original);
    std::string const second = file.path() + ".1";
    std::filesystem::create_symlink(file.path(), second);

    expectRefused(ketmon({"read", file.path(), "--save-snapshot", file.path()}), "is the capture");
    expectRefused(ketmon({"read", file.path(), "--save-snapshot", file.path(), "--interval", "1"}),
                  second + ": is the capture");

    EXPECT_EQ(fileContents(file.path()), original);
    std::filesystem::remove(second);
    std::filesystem::remove(file.path() + ".0");
}

TEST(ReadCommand, DerivesUtilisationFromTheLinkSpeed)
{
    std::string const file = capture("internet-mixed.pcap");
    auto const group = [&](std::string const & speed) {
        return ketmon({"read", "--tree", "--json", file, "--link-speed", speed})
            .json()["statistics"]["Global statistics"];
    };

    ordered_json const slow = group("8000000");
    EXPECT_GT(slow["Average network utilisation"].get<double>(), 0.0);
    EXPECT_EQ(slow["Average network utilisation"], slow["Peak network utilisation"]);
    EXPECT_DOUBLE_EQ(slow["Current network utilisation"].get<double>(),
                     2 * group("16000000")["Current network utilisation"].get<double>());
    EXPECT_TRUE(group("0")["Current network utilisation"].is_null());
    // A speed is held in 31 bits, as bytes per second, and a faster link counts as one of the most they hold.
    EXPECT_EQ(group("99999999999"), group("17179869176"));
    EXPECT_NE(group("17179869176"), group("17179869168"));
}

} // namespace
