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
    std::string path(unsigned int number) const
    {
        std::string const digits = std::to_string(number);
        return m_base.path() + '.' + std::string(5 - digits.size(), '0') + digits;
    }

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
            EXPECT_EQ(show.output, read.output) << name;
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

TEST(ShowCommand, KnowsTheOrderOfItsFiles)
{
    SavedSnapshots const saved("many-connections.pcap", "0.5");
    ASSERT_GT(saved.paths().size(), 3U);
    std::vector<std::string> arguments = {"show", "--tree", "--json"};
    arguments.insert(arguments.end(), saved.paths().rbegin(), saved.paths().rend());
    std::swap(arguments[4], arguments.back());

    Outcome const show = ketmon(arguments);

    EXPECT_EQ(show.output, saved.read().output) << show.errors;
}

TEST(ShowCommand, RefusesGapsAndWhatDoesNotBelongTogether)
{
    SavedSnapshots const saved("many-connections.pcap", "0.5");
    SavedSnapshots const other("many-connections.pcap", "0.5");
    ASSERT_GT(saved.paths().size(), 3U);
    auto const & files = saved.paths();

    test::expectRefused(ketmon({"show", files[0], files[2]}),
                        files[2] + ": is number 2 of the recording, and number 1, behind " + files[0] +
                            ", isn't among the files");
    test::expectRefused(ketmon({"show", files[1]}),
                        files[1] + ": is number 1 of its recording and says only what changed; the full "
                                   "snapshot, number 0, isn't among the files");
    test::expectRefused(ketmon({"show", files[2], files[1]}), "number 0, isn't among the files");
    test::expectRefused(ketmon({"show", files[0], files[1], files[1]}), "is number 1 of the recording, as ");
    test::expectRefused(ketmon({"show", files[0], other.paths()[1]}),
                        other.paths()[1] + ": belongs to another recording than " + files[0]);
    EXPECT_EQ(ketmon({"show", files[0], files[1]}).exitCode, 0) << "the state behind the first interval";
}

// What older versions saved were the packed bytes alone.
TEST(ShowCommand, RefusesFilesWithoutAHeaderWithAClearWord)
{
    TemporaryFile const saved("");
    ketmon({"read", capture("jumbo-ssh.pcap"), "--save-snapshot", saved.path()});
    std::string const name = capture("jumbo-ssh.pcap");
    TemporaryFile const older(fileContents(saved.path()).substr(560 + name.size()));

    test::expectRefused(ketmon({"show", older.path()}),
                        older.path() + ": no saved snapshot, or one of an older ketmon: it has no header");
    test::expectRefused(ketmon({"show", "/dev/zero"}), "/dev/zero: no saved snapshot");
}

TEST(ShowCommand, BuildsItsTreeForTheLimitsThatWereSaved)
{
    TemporaryFile const saved("");
    for (char const * const rows : {"all=3", "ip_traffic=20", "station_tcp_ports=1", "standard"}) {
        Outcome const read = ketmon({"read", "--json", capture("many-connections.pcap"), "--rows", rows,
                                     "--save-snapshot", saved.path()});
        Outcome const show = ketmon({"show", "--json", saved.path()});

        EXPECT_EQ(show.exitCode, 0) << show.errors;
        EXPECT_EQ(show.output, read.output) << rows;
    }
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
        EXPECT_THAT(outcome.errors, HasSubstr("ketmon: " + damaged.path() + ": "));
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

TEST(ReadCommand, AFailedSaveLeavesWhatWasThere)
{
    TemporaryFile const saved("what was there before");
    // A limit of the size of files stands for a full disk.
    Outcome const outcome =
        test::run({"sh", "-c", "trap '' XFSZ; ulimit -f 1; exec \"$@\"", "sh", KETMON_PROGRAM, "read", "-q",
                   capture("internet-mixed.pcap"), "--save-snapshot", saved.path()});

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, HasSubstr(saved.path() + ": can't be written: File too large"));
    EXPECT_EQ(fileContents(saved.path()), "what was there before");
    EXPECT_FALSE(std::filesystem::exists(saved.path() + ".part"));
    EXPECT_EQ(ketmon({"read", "-q", capture("empty.pcap"), "--save-snapshot", "/dev/full"}).exitCode, 1);
}

TEST(ReadCommand, SavesNoSnapshotOverTheCapture)
{
    std::string const original = fileContents(capture("many-stations-arp.pcap"));
    TemporaryFile const file(original);
    std::string const second = file.path() + ".00001";
    std::filesystem::create_symlink(file.path(), second);

    expectRefused(ketmon({"read", file.path(), "--save-snapshot", file.path()}), "is the capture");
    expectRefused(ketmon({"read", file.path(), "--save-snapshot", file.path(), "--interval", "1"}),
                  second + ": is the capture");

    EXPECT_EQ(fileContents(file.path()), original);
    std::filesystem::remove(second);
    std::filesystem::remove(file.path() + ".00000");
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
