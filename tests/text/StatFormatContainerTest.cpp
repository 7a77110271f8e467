#include "ketstats/text/StatFormatContainer.h"
#include "ketstats/text/IPSubProtocolFormat.h"

#include "tests/support/HostFormats.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <typeinfo>
#include <vector>

using namespace KetStats;
using test::HostFormat;

namespace {

using Base = CStatFormatBase;

template <class Format>
bool isA(CStatFormatBase const & format)
{
    return typeid(format) == typeid(Format);
}

// The list as it was when the library had been loaded, before anything in this program ran.
struct Loaded
{
    explicit Loaded(CStatFormatContainerBase const & list)
    {
        for (unsigned int i = 0; i < list.size(); ++i)
            given.push_back(list[i].getMultiplier());
    }
    std::vector<Multiplier const *> given;
};
Loaded const integersAtLoad(*StandardIntegerFormats);
Loaded const doublesAtLoad(*StandardDoubleFormats);

std::vector<Multiplier const *> const powersOf1024 = {nullptr,  &mKiloCS, &mMegaCS, &mGigaCS,
                                                      &mTeraCS, &mPetaCS, &mExaCS};

TEST(StandardFormats, NumbersAreOfferedPlainAndWithThePowersOf1024)
{
    EXPECT_EQ(integersAtLoad.given, powersOf1024);
    EXPECT_EQ(doublesAtLoad.given, powersOf1024);
    EXPECT_EQ(Loaded(*StandardIntegerFormats).given, powersOf1024);
    EXPECT_EQ(Loaded(*StandardDoubleFormats).given, powersOf1024);
    ASSERT_EQ(StandardIntegerFormats->size(), 7U);
    ASSERT_EQ(StandardDoubleFormats->size(), 7U);
    for (unsigned int i = 0; i < 7; ++i) {
        EXPECT_TRUE(isA<CIntegerFormat>((*StandardIntegerFormats)[i]));
        EXPECT_TRUE(isA<CFixedPointStatFormat>((*StandardDoubleFormats)[i]));
        EXPECT_EQ((*StandardIntegerFormats)[i].getName(), "Integer value");
        EXPECT_EQ((*StandardDoubleFormats)[i].getName(), "Fixed point float");
    }
}

TEST(StandardFormats, AddressesAndStringsHaveOne)
{
    ASSERT_EQ(StandardMACFormats->size(), 1U);
    ASSERT_EQ(StandardIPFormats->size(), 1U);
    ASSERT_EQ(StandardStringFormats->size(), 1U);
    EXPECT_TRUE(isA<CMACAddressFormat>((*StandardMACFormats)[0]));
    EXPECT_TRUE(isA<CIPAddressFormat>((*StandardIPFormats)[0]));
    EXPECT_TRUE(isA<CStringFormat>((*StandardStringFormats)[0]));
}

TEST(StandardFormats, AddressesOfIPv6ReadAsTheirTextOrTheirBytes)
{
    ASSERT_EQ(StandardIPv6Formats->size(), 2U);
    EXPECT_TRUE(isA<CIPv6AddressFormat>((*StandardIPv6Formats)[0]));
    EXPECT_TRUE(isA<CIPv6AddressBytesFormat>((*StandardIPv6Formats)[1]));
}

TEST(StandardFormats, ProtocolIdsReadInHexadecimalOrByName)
{
    ASSERT_EQ(StandardProtocolIdFormats->size(), 3U);
    EXPECT_TRUE(isA<CIntegerHexFormat>((*StandardProtocolIdFormats)[0]));
    EXPECT_TRUE(isA<CIPSubProtocolShortNameStatFormat>((*StandardProtocolIdFormats)[1]));
    EXPECT_TRUE(isA<CIPSubProtocolLongNameStatFormat>((*StandardProtocolIdFormats)[2]));
}

TEST(StandardFormats, ListsHaveAClassOfTheirOwnAndAKind)
{
    EXPECT_EQ(typeid(*StandardIntegerFormats), typeid(CStandardIntegerFormats));
    EXPECT_EQ(typeid(*StandardDoubleFormats), typeid(CStandardDoubleFormats));
    EXPECT_EQ(typeid(*StandardMACFormats), typeid(CStandardMACFormats));
    EXPECT_EQ(typeid(*StandardIPFormats), typeid(CStandardIPFormats));
    EXPECT_EQ(typeid(*StandardIPv6Formats), typeid(CStandardIPv6Formats));
    EXPECT_EQ(typeid(*StandardStringFormats), typeid(CStandardStringFormats));
    EXPECT_EQ(typeid(*StandardProtocolIdFormats), typeid(CStandardProtocolIdFormats));
    EXPECT_EQ(StandardIntegerFormats->getValueType(), Base::vtInteger);
    EXPECT_EQ(StandardDoubleFormats->getValueType(), Base::vtDouble);
    EXPECT_EQ(StandardMACFormats->getValueType(), Base::vtMAC);
    EXPECT_EQ(StandardIPFormats->getValueType(), Base::vtIP);
    EXPECT_EQ(StandardIPv6Formats->getValueType(), Base::vtIPv6);
    EXPECT_EQ(StandardStringFormats->getValueType(), Base::vtString);
    EXPECT_EQ(StandardProtocolIdFormats->getValueType(), Base::vtInteger);
}

TEST(StandardFormats, AreReadOnly)
{
    static_assert(std::is_same_v<decltype(StandardIntegerFormats), CStatFormatContainerBase const * const>);
    static_assert(std::is_same_v<decltype(CustomIntegerFormats), CStatFormatContainerBase * const>);
}

TEST(CustomFormats, AreEmptyListsOfEachKind)
{
    struct
    {
        CStatFormatContainerBase const * list;
        Base::ValueType type;
    } const expected[] = {
        {CustomIntegerFormats, Base::vtInteger}, {CustomDoubleFormats, Base::vtDouble},
        {CustomMACFormats, Base::vtMAC},         {CustomIPFormats, Base::vtIP},
        {CustomStringFormats, Base::vtString},   {CustomProtocolIdFormats, Base::vtInteger},
        {CustomIPv6Formats, Base::vtIPv6},
    };

    for (auto const & one : expected) {
        EXPECT_EQ(one.list->size(), 0U);
        EXPECT_EQ(one.list->getValueType(), one.type);
        EXPECT_EQ(typeid(*one.list), typeid(CStatFormatContainerBase));
    }
}

TEST(FormatList, StartsEmpty)
{
    EXPECT_EQ(CStatFormatContainerBase(Base::vtIP).size(), 0U);
}

TEST(FormatList, TakesOfAnArrayOnlyItsKindAndLeavesTheOthersToTheCaller)
{
    HostFormat mac(Base::vtMAC); // would be deleted twice if the list took it
    auto * const first = new HostFormat(Base::vtInteger);
    HostFormat number(Base::vtDouble);
    auto * const second = new CIntegerHexFormat;
    CStatFormatBase * array[] = {&mac, first, &number, second, nullptr};
    int const before = HostFormat::alive;
    {
        CStatFormatContainerBase const list(Base::vtInteger, array);

        ASSERT_EQ(list.size(), 2U);
        EXPECT_EQ(&list[0], first);
        EXPECT_EQ(&list[1], second);
        EXPECT_EQ(list.getValueType(), Base::vtInteger);
    }
    EXPECT_EQ(HostFormat::alive, before - 1) << "the list deleted what it took and nothing else";
    EXPECT_EQ(mac.getValueType(), Base::vtMAC);
}

TEST(FormatList, IsEmptyFromAnEmptyArray)
{
    CStatFormatBase * array[] = {nullptr};
    EXPECT_EQ(CStatFormatContainerBase(Base::vtInteger, array).size(), 0U);
}

TEST(FormatList, PushBackDoesNotLookAtTheKind)
{
    CStatFormatContainerBase list(Base::vtInteger);
    list.push_back(new CMACAddressFormat);
    list.push_back(new CIntegerFormat);

    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0].getValueType(), Base::vtMAC);
    EXPECT_EQ(list[1].getValueType(), Base::vtInteger);
}

TEST(FormatList, ClearDeletesEachThroughItsVirtualDestructorAndEmptiesTheList)
{
    int const before = HostFormat::alive;
    CStatFormatContainerBase list(Base::vtString);
    list.push_back(new HostFormat(Base::vtString));
    list.push_back(new HostFormat(Base::vtString));
    EXPECT_EQ(HostFormat::alive, before + 2);

    list.clear();
    EXPECT_EQ(HostFormat::alive, before);
    EXPECT_EQ(list.size(), 0U);
    list.clear();
    EXPECT_EQ(list.size(), 0U);
}

TEST(FormatList, ClearPassesOverNullEntries)
{
    int const before = HostFormat::alive;
    CStatFormatContainerBase list(Base::vtString);
    list.push_back(nullptr);
    list.push_back(new HostFormat(Base::vtString));
    list.push_back(nullptr);
    EXPECT_EQ(list.size(), 3U);

    list.clear();

    EXPECT_EQ(list.size(), 0U);
    EXPECT_EQ(HostFormat::alive, before);
}

TEST(FormatList, DeletesItsFormatsWhenItGoes)
{
    int const before = HostFormat::alive;
    CStatFormatContainerBase * const list = new CStatFormatContainerBase(Base::vtString);
    list->push_back(new HostFormat(Base::vtString));

    delete list;

    EXPECT_EQ(HostFormat::alive, before);
    static_assert(std::has_virtual_destructor_v<CStatFormatContainerBase>);
    static_assert(std::has_virtual_destructor_v<CStatFormatBase>);
}

TEST(FormatList, CanBeFilledAnewAfterClear)
{
    CStatFormatContainerBase list(Base::vtInteger);
    list.push_back(new CIntegerFormat);
    list.clear();
    list.push_back(new CIntegerHexFormat);

    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].formatValue(10LL, nullptr), "0xA");
}

TEST(FormatList, AStandardListOfOnesOwnIsFilledToo)
{
    EXPECT_EQ(CStandardIntegerFormats().size(), 7U);
    EXPECT_EQ(CStandardDoubleFormats().size(), 7U);
    EXPECT_EQ(CStandardProtocolIdFormats().size(), 3U);
}

} // namespace
