#include "ketstats/text/StringResources.h"

#include "tests/support/Allocations.h"

#include <gtest/gtest.h>

#include <set>

using namespace KetStats;

namespace {

HMODULE const library = CStringResources::instance().module;
HMODULE const program = GetModuleHandleA(nullptr); // has a table of its own, see Strings.rc

std::string textOfLength(std::size_t length)
{
    std::string text;
    for (std::size_t i = 0; i < length; ++i)
        text += static_cast<char>('0' + i % 10);
    return text;
}

// The allocations of a fetch into a text that has room for it.
long allocationsOf(unsigned int id, std::string & text)
{
    text.reserve(1000);
    test::Allocations const allocations;
    EXPECT_TRUE(loadStringResource(id, text, program));
    return allocations.count();
}

TEST(StringTable, TextOf127CharactersIsConvertedOnTheStack)
{
    std::string text;
    EXPECT_EQ(allocationsOf(160, text), 0);
    EXPECT_EQ(text, textOfLength(127));
}

TEST(StringTable, TextOf128CharactersIsConvertedOnTheHeap)
{
    std::string text;
    EXPECT_EQ(allocationsOf(161, text), 1);
    EXPECT_EQ(text, textOfLength(128));
}

TEST(StringTable, GapInABlockIsFoundAndEmpty)
{
    std::string text = "untouched";
    EXPECT_TRUE(loadStringResource(162, text, program));
    EXPECT_EQ(text, "");
    EXPECT_TRUE(loadStringResource(163, text, program));
    EXPECT_EQ(text, "behind a gap");
}

TEST(StringTable, AbsentBlockIsNotFound)
{
    std::string text = "untouched";
    EXPECT_FALSE(loadStringResource(176, text, program));
    EXPECT_FALSE(loadStringResource(159, text, program));
    EXPECT_EQ(text, "untouched");
}

TEST(StringTable, TextIsInTheCodePageOfTheMachine)
{
    std::string text;
    ASSERT_TRUE(loadStringResource(175, text, program));

    char expected[16] = "";
    WideCharToMultiByte(GetACP(), 0, L"caf\u00e9", -1, expected, sizeof expected, nullptr, nullptr);
    EXPECT_EQ(text, expected);
}

TEST(StringTable, BlockNumberHasSixteenBits)
{
    std::string text;
    EXPECT_TRUE(loadStringResource(1U << 20 | 1129, text, library));
    EXPECT_EQ(text, "Frames");
}

TEST(StringTable, NoModuleMeansTheProgram)
{
    std::string text;
    EXPECT_TRUE(loadStringResource(163, text, nullptr));
    EXPECT_EQ(text, "behind a gap");
}

using Languages = std::set<WORD>;

Languages languagesOf(int type, unsigned int name)
{
    Languages languages;
    EnumResourceLanguagesA(
        library, MAKEINTRESOURCEA(type), MAKEINTRESOURCEA(name),
        [](HMODULE, LPCSTR, LPCSTR, WORD language, LONG_PTR parameter) -> BOOL {
            reinterpret_cast<Languages *>(parameter)->insert(language);
            return TRUE;
        },
        reinterpret_cast<LONG_PTR>(&languages));
    return languages;
}

TEST(StringTable, EachBlockIsInOneLanguage)
{
    for (unsigned int const id : {
#define STRING(ID, TEXT) ID,
#include "ketstats/platform/Strings.def"
#undef STRING
         }) {
        bool const isFrameSize = id >= 2000 && id <= 2005;
        EXPECT_EQ(languagesOf(6, id / 16 + 1), Languages{static_cast<WORD>(isFrameSize ? 0 : 1033)}) << id;
    }
}

TEST(StringTable, VersionRecordIsInTwoLanguages)
{
    EXPECT_EQ(languagesOf(16, 1), (Languages{1033, 1045}));
}

// The search begins with the languages of the user, and goes on to any.
TEST(StringTable, AllTextsAreFoundInAnotherLanguage)
{
    LANGID const before = GetThreadUILanguage();
    LCID const localeBefore = GetThreadLocale();
    SetThreadLocale(MAKELCID(1045, SORT_DEFAULT));
    SetThreadUILanguage(1045);
    std::string name;
    std::string size;

    bool const found = loadStringResource(1129, name, library) && loadStringResource(2000, size, library);

    SetThreadUILanguage(before);
    SetThreadLocale(localeBefore);
    EXPECT_TRUE(found);
    EXPECT_EQ(name, "Frames");
    EXPECT_EQ(size, "<= 64 B");
}

} // namespace
