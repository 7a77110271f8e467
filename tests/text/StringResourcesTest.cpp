#include "ketstats/text/StringResources.h"
#include "ketstats/text/ModulePath.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace KetStats;

namespace {

// The ring as it was when the library had been loaded, before anything in this program ran.
struct RingAtLoad
{
    int current = CStringResources::instance().current;
    std::array<std::string, 10> ring = CStringResources::instance().ring;
    HMODULE module = CStringResources::instance().module;
} const ringAtLoad;

TEST(StringResources, NothingIsFetchedWhileTheLibraryLoads)
{
    EXPECT_EQ(ringAtLoad.current, 0);
    for (std::string const & slot : ringAtLoad.ring)
        EXPECT_TRUE(slot.empty());
    EXPECT_NE(ringAtLoad.module, nullptr) << "the entry function has run";
}

TEST(StringResources, RingGoesFromSlotToSlotAndAround)
{
    CStringResources & resources = CStringResources::instance();
    for (int fetch = 0; fetch < 25; ++fetch) {
        auto const next = static_cast<std::size_t>((resources.current + 1) % 10);
        EXPECT_EQ(&resources.getString(1129), &resources.ring[next]);
    }
}

TEST(StringResources, TenFetchesStayReadableAndTheEleventhOverwritesTheFirst)
{
    CStringResources & resources = CStringResources::instance();
    std::string const * fetched[10];
    for (unsigned int i = 0; i < 10; ++i)
        fetched[i] = &resources.getString(1101 + i);

    EXPECT_EQ(*fetched[0], "Sample number");
    EXPECT_EQ(*fetched[9], "Software overflows");

    std::string const & eleventh = resources.getString(1122);
    EXPECT_EQ(&eleventh, fetched[0]);
    EXPECT_EQ(*fetched[0], "Global filter");
    EXPECT_EQ(*fetched[1], "Global transmitted data");
}

TEST(StringResources, SameStringTwiceTakesTwoSlots)
{
    std::string const & first = CStringResources::instance().getString(1129);
    std::string const & second = CStringResources::instance().getString(1129);

    EXPECT_NE(&first, &second);
    EXPECT_EQ(first, "Frames");
    EXPECT_EQ(second, "Frames");
}

TEST(StringResources, MissingStringsAreEmpty)
{
    CStringResources & resources = CStringResources::instance();
    for (unsigned int i = 0; i < 10; ++i)
        resources.getString(1129);

    EXPECT_EQ(resources.getString(1136), "") << "a gap within the table";
    EXPECT_EQ(resources.getString(9999), "") << "far outside";
    EXPECT_EQ(resources.getString(2006), "") << "just behind the last";
}

TEST(StringResources, IdZeroGetsTheCurrentSlotUnfetched)
{
    CStringResources & resources = CStringResources::instance();
    std::string const & last = resources.getString(1129);

    EXPECT_EQ(&resources.getString(0), &last);
    EXPECT_EQ(&resources.ring[static_cast<std::size_t>(resources.current)], &last);
}

TEST(StringResources, RawFetchTellsWhetherThereIsAString)
{
    HMODULE const module = CStringResources::instance().module;
    std::string text = "untouched";

    EXPECT_FALSE(loadStringResource(9999, text, module));
    EXPECT_EQ(text, "untouched");
    EXPECT_TRUE(loadStringResource(2000, text, module));
    EXPECT_EQ(text, "<= 64 B");
    EXPECT_TRUE(loadStringResource(1185, text, module));
    EXPECT_EQ(text, "bandwith");
    EXPECT_TRUE(loadStringResource(1121, text, module));
    EXPECT_EQ(text, "Hartbeat failure");
}

TEST(StringResources, HoldsAllStringsOfTheTable)
{
    unsigned int count = 0;
    std::string text;
    for (unsigned int id = 1; id < 4000; ++id)
        if (loadStringResource(id, text, CStringResources::instance().module) && !text.empty())
            ++count;
    EXPECT_EQ(count, 154U);
}

// A loader that tells a path of any length.
std::string toldPath;

unsigned int fileName(HMODULE, char * path, unsigned int size)
{
    std::size_t const length = toldPath.size();
    if (length >= size) {
        std::memcpy(path, toldPath.data(), size);
        path[size - 1] = '\0';
        return size;
    }
    std::memcpy(path, toldPath.c_str(), length + 1);
    return static_cast<unsigned int>(length);
}

std::string pathOfLength(std::size_t length)
{
    std::string path = std::string(1, platform::pathSeparator) + "dir" + platform::pathSeparator;
    return path + std::string(length - path.size(), 'x');
}

TEST(ModulePath, IsTheDirectoryWithASeparatorAtItsEnd)
{
    toldPath = pathOfLength(20);
    CModulePath path;

    EXPECT_TRUE(path.init(nullptr, fileName));
    EXPECT_EQ(path.directory(), toldPath.substr(0, 5));
}

TEST(ModulePath, TakesAPathOf259CharactersAndRefusesOneOf260)
{
    CModulePath path;
    toldPath = pathOfLength(259);
    EXPECT_TRUE(path.init(nullptr, fileName));
    EXPECT_STRNE(path.directory(), "");

    toldPath = pathOfLength(260);
    EXPECT_FALSE(path.init(nullptr, fileName));
    EXPECT_STREQ(path.directory(), "");
}

TEST(ModulePath, FailsWithTheLoader)
{
    CModulePath path;
    EXPECT_FALSE(path.init(nullptr, [](HMODULE, char *, unsigned int) { return 0U; }));
    EXPECT_STREQ(path.directory(), "");
}

TEST(ModulePath, LocatesALibraryThatFits)
{
    toldPath = pathOfLength(20);
    CModulePath path;
    path.init(nullptr, fileName);
    char located[platform::maximumPath];

    ASSERT_TRUE(path.locate("other", located));
    EXPECT_EQ(located, std::string(path.directory()) + "other");
    EXPECT_TRUE(path.locate(std::string(254, 'y').c_str(), located)) << "254 + 5 + 1 is 260";
    EXPECT_FALSE(path.locate(std::string(255, 'y').c_str(), located));
}

TEST(DelayLoad, FindsTheCaptureLibraryBesideThisOne)
{
    platform::DelayLoadInfo info{};
    info.libraryName = KNDISLIB_FILE;

    EXPECT_NE(delayLoadHook(platform::beforeLoadLibrary, &info), nullptr);
    EXPECT_EQ(delayLoadHook(2, &info), nullptr) << "another notification";
    info.libraryName = "no-such-library";
    EXPECT_EQ(delayLoadHook(platform::beforeLoadLibrary, &info), nullptr);
    std::string const longName(300, 'x');
    info.libraryName = longName.c_str();
    EXPECT_EQ(delayLoadHook(platform::beforeLoadLibrary, &info), nullptr);
}

// Everything that the header declares can be called from outside of the library.
TEST(ModulePath, IsThatOfTheLibrary)
{
    CModulePath path;

    EXPECT_TRUE(path.init(CStringResources::instance().module));
    std::string const directory = path.directory();

    EXPECT_EQ(directory.back(), platform::pathSeparator);
    char file[platform::maximumPath];
    EXPECT_TRUE(path.locate(KNDISLIB_FILE, file));
    EXPECT_EQ(file, directory + KNDISLIB_FILE);
    initModulePath(nullptr); // only the first call, which the library makes, works
    EXPECT_EQ(delayLoadHook(0, nullptr), nullptr);
}

} // namespace
