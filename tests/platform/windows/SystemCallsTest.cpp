// What the library asks of the system, and what it makes of the answers, those of a system in trouble
// included. The answers are the tests': they take the place of the system's functions in what the library
// imports.

#include "tests/support/windows/Imports.h"

#include "ketstats/ketstats.h"

#include <gtest/gtest.h>

#include <iphlpapi.h>

#include <cstring>

using namespace KetStats;
using test::ReplacedImport;

namespace {

HMODULE const library = CStringResources::instance().module;
HMODULE const program = GetModuleHandleA(nullptr); // has a table of its own, see Strings.rc

// Nothing tells a replacement for which test it stands, so both speak through these.
namespace locale {

char const * answer;
LCID asked;
LCTYPE item;
int size;

int WINAPI get(LCID theLocale, LCTYPE theItem, char * text, int theSize)
{
    asked = theLocale;
    item = theItem;
    size = theSize;
    if (!answer)
        return 0;
    std::strcpy(text, answer);
    return static_cast<int>(std::strlen(answer)) + 1;
}

int precisionFor(char const * theAnswer)
{
    answer = theAnswer;
    ReplacedImport const replaced(library, "GetLocaleInfoA", &get);
    return CStatFormatBase::getDefaultPrecision();
}

} // namespace locale

TEST(SystemLocale, UserIsAskedForTheDigitsBehindThePoint)
{
    EXPECT_EQ(locale::precisionFor("4"), 4);

    EXPECT_EQ(locale::asked, 0x400U);
    EXPECT_EQ(locale::item, 0x11U);
    EXPECT_EQ(locale::size, 20);
}

TEST(SystemLocale, FormatTakesThePlacesInForceWhenItIsMade)
{
    ReplacedImport const replaced(library, "GetLocaleInfoA", &locale::get);
    locale::answer = "1";
    CFixedPointStatFormat const before;
    locale::answer = "5";
    CFixedPointStatFormat const after;

    EXPECT_EQ(before.formatValue(0.5, nullptr), "0.5");
    EXPECT_EQ(after.formatValue(0.5, nullptr), "0.50000");
}

TEST(SystemLocale, WithoutDigitsGivesNoPlacesAndAFailureTwo)
{
    EXPECT_EQ(locale::precisionFor("abc"), 0);
    EXPECT_EQ(locale::precisionFor(""), 0);
    EXPECT_EQ(locale::precisionFor("-1"), 2);
    EXPECT_EQ(locale::precisionFor(nullptr), 2);
}

namespace neighbours {

ULONG answer;
ULONG size;
BOOL sorted;

ULONG WINAPI get(MIB_IPNETTABLE * table, ULONG * theSize, BOOL isSorted)
{
    size = *theSize;
    sorted = isSorted;
    table->dwNumEntries = 1;
    table->table[0] = {7, 6, {0x00, 0x11, 0x22, 0xAA, 0xBB, 0xCC}, 0x0100000A, {MIB_IPNET_TYPE_DYNAMIC}};
    return answer;
}

} // namespace neighbours

TEST(SystemNeighbours, AreImportedUnsortedFromTenThousandBytes)
{
    CKetrinStatManager manager;
    neighbours::answer = NO_ERROR;
    neighbours::sorted = TRUE;
    ReplacedImport const replaced(library, "GetIpNetTable", &neighbours::get);

    EXPECT_TRUE(manager.InsertARPTable());

    EXPECT_EQ(neighbours::size, 10000U);
    EXPECT_EQ(neighbours::sorted, FALSE);
    auto const & table = manager.getAgentStatistic().arpTable;
    ASSERT_EQ(table.size(), 1U);
    CARPStat const * const row = table.find(CIPAddress(0x0100000A));
    ASSERT_NE(row, nullptr) << "10.0.0.1 as it lies";
    unsigned char const expected[] = {0x00, 0x11, 0x22, 0xAA, 0xBB, 0xCC};
    EXPECT_EQ(std::memcmp(row->macAddress.get().bytes.data(), expected, sizeof expected), 0);
}

TEST(SystemNeighbours, TableThatTheSystemDoesNotTellChangesNothing)
{
    for (ULONG const failure : {ERROR_INSUFFICIENT_BUFFER, ERROR_NO_DATA, ERROR_NOT_SUPPORTED}) {
        CKetrinStatManager manager;
        neighbours::answer = failure;
        ReplacedImport const replaced(library, "GetIpNetTable", &neighbours::get);

        EXPECT_FALSE(manager.InsertARPTable()) << failure;
        EXPECT_EQ(manager.getAgentStatistic().arpTable.size(), 0U) << failure;
    }
}

namespace moment {

SYSTEMTIME now;

void WINAPI get(SYSTEMTIME * time)
{
    *time = now;
}

CSystemTime at(SYSTEMTIME const & time)
{
    now = time;
    ReplacedImport const replaced(library, "GetSystemTime", &get);
    CSystemTime result;
    result.getSystemTime();
    return result;
}

} // namespace moment

// Year, month, day of the week, day, hour, minute, second, millisecond.
constexpr SYSTEMTIME leapDay{2020, 2, 6, 29, 23, 59, 59, 999};
constexpr SYSTEMTIME nextDay{2020, 3, 0, 1, 0, 0, 0, 1};

TEST(SystemClock, TimeIsThatOfTheSystemAndTicksFollowFromIt)
{
    CSystemTime const earlier = moment::at(leapDay);
    CSystemTime const later = moment::at(nextDay);

    _SYSTEMTIME const told = earlier;
    EXPECT_EQ(std::memcmp(&told, &leapDay, sizeof told), 0);
    EXPECT_EQ(later - earlier, 2 * 10000) << "two milliseconds over the end of February";
}

TEST(SystemClock, TimeThatIsNoneHasTheTickZero)
{
    constexpr SYSTEMTIME origin{1601, 1, 1, 1, 0, 0, 0, 0};
    SYSTEMTIME noMonth = leapDay;
    noMonth.wMonth = 13;

    EXPECT_EQ(moment::at(noMonth) - moment::at(origin), 0);
}

namespace strings {

UINT codePage;
DWORD flags;
int length;
int room;
bool hasDefault;

int WINAPI convert(UINT theCodePage, DWORD theFlags, wchar_t const *, int theLength, char * text, int theRoom,
                   char const * defaultCharacter, BOOL * usedDefault)
{
    codePage = theCodePage;
    flags = theFlags;
    length = theLength;
    room = theRoom;
    hasDefault = defaultCharacter || usedDefault;
    std::memcpy(text, "text", 4); // and no zero
    return 4;
}

int WINAPI failToConvert(UINT, DWORD, wchar_t const *, int, char * text, int, char const *, BOOL *)
{
    text[0] = 'x';
    return 0;
}

void * WINAPI failToLock(HGLOBAL)
{
    return nullptr;
}

} // namespace strings

TEST(SystemStrings, ConversionIsToTheCodePageOfTheMachine)
{
    ReplacedImport const replaced(library, "WideCharToMultiByte", &strings::convert);
    std::string text;

    EXPECT_TRUE(loadStringResource(160, text, program));
    EXPECT_EQ(text, "text");
    EXPECT_EQ(strings::codePage, 0U);
    EXPECT_EQ(strings::flags, 0U);
    EXPECT_FALSE(strings::hasDefault);
    EXPECT_EQ(strings::length, 127);
    EXPECT_EQ(strings::room, 256);

    EXPECT_TRUE(loadStringResource(161, text, program));
    EXPECT_EQ(text, "text");
    EXPECT_EQ(strings::length, 128);
    EXPECT_EQ(strings::room, 258);
}

TEST(SystemStrings, ConversionThatFailsGivesAnEmptyText)
{
    ReplacedImport const replaced(library, "WideCharToMultiByte", &strings::failToConvert);
    for (unsigned int const id : {160U, 161U}) {
        std::string text = "untouched";
        EXPECT_TRUE(loadStringResource(id, text, program)) << id;
        EXPECT_EQ(text, "") << id;
    }
}

TEST(SystemStrings, BlockThatCannotBeLockedIsNotFound)
{
    ReplacedImport const replaced(library, "LockResource", &strings::failToLock);
    std::string text = "untouched";

    EXPECT_FALSE(loadStringResource(160, text, program));
    EXPECT_EQ(text, "untouched");
    EXPECT_EQ(CStringResources::instance().getString(1129), "");
}

} // namespace
