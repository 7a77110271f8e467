#include "ketstats/text/StatDescription.h"
#include "ketstats/schema/AgentStatistic.h"
#include "ketstats/text/StatFormatContainer.h"
#include "tests/support/StringFetches.h"

#include <gtest/gtest.h>

using namespace KetStats;
using test::StringFetches;

namespace {

constexpr unsigned int missing = 9999;

TEST(StatDescription, LiteralNameIsThereAtOnce)
{
    CStringStatDescription const description("A name");
    StringFetches const fetches;

    EXPECT_EQ(description.getStringDescription(), "A name");
    EXPECT_EQ(fetches.count(), 0);
}

TEST(StatDescription, NameLoadsOnceWhenItIsAskedFor)
{
    StringFetches const fetches;
    CStringStatDescription const description(1128);
    EXPECT_EQ(fetches.count(), 0);

    EXPECT_EQ(description.getStringDescription(), "Name");
    EXPECT_EQ(description.getStringDescription(), "Name");
    EXPECT_EQ(fetches.count(), 1);
}

TEST(StatDescription, MissingNameReadsUnknownStatistic)
{
    CStringStatDescription const description(missing);
    EXPECT_EQ(description.getStringDescription(), "Unknown statistic");

    StringFetches const fetches;
    EXPECT_EQ(description.getStringDescription(), "Unknown statistic");
    EXPECT_EQ(fetches.count(), 0);
}

// One of every class, with what can be read of it.
struct Descriptions
{
    explicit Descriptions(unsigned int name, unsigned int unit, CStatDescription const * column)
        : integer(name, unit),
          numeric(name, unit),
          text(name),
          mac(name),
          ip(name),
          protocol(name),
          children{column, column, nullptr},
          group(name, children),
          table(name, column)
    {}

    std::string shown() const
    {
        std::string all = integer.getUnit() + integer.getUnits() + integer.getAbbrev() + numeric.getUnit();
        for (CStatDescription const * const one : std::initializer_list<CStatDescription const *>{
                 &integer, &numeric, &text, &mac, &ip, &protocol, &group, &table}) {
            all += one->getStringDescription() + std::to_string(one->getStatType()) +
                   std::to_string(one->getSubStatsCount());
            if (one->getSubStatsCount() != 0)
                all += one->subStatDescription(0)->getStringDescription();
        }
        return all;
    }

    CNumericStatDescription<unsigned int> integer;
    CNumericStatDescription<percentVal> numeric;
    CStringStatDescription text;
    CMACAddressStatDescription mac;
    CIPAddressStatDescription ip;
    CProtocolIdStatDescription protocol;
    CStatDescription const * children[3];
    CStructStatDescription group;
    CDynamicArrayStatDescription table;
};

TEST(StatDescription, AssigningAnyOtherChangesNothing)
{
    CStringStatDescription const column("column");
    CStringStatDescription const otherColumn("other column");
    Descriptions one(1129, 1195, &column);
    Descriptions const other(1130, 1169, &otherColumn);
    std::string const before = Descriptions(1129, 1195, &column).shown();

    one.integer = other.integer;
    one.numeric = other.numeric;
    one.text = other.text;
    one.mac = other.mac;
    one.ip = other.ip;
    one.protocol = other.protocol;
    one.group = other.group;
    one.table = other.table;
    static_cast<CNumericStatDescriptionBase &>(one.integer) = other.numeric;
    static_cast<CValueStatDescription &>(one.text) = other.mac;
    static_cast<CStatDescription &>(one.group) = other.table;

    EXPECT_EQ(one.shown(), before);
}

TEST(StatDescription, CopyIsUnnamedAndHasNothingBelow)
{
    CStringStatDescription const column("column");
    Descriptions const one(1129, 1195, &column);
    CStructStatDescription const group(one.group);
    CDynamicArrayStatDescription const table(one.table);

    for (CStatDescription const * const copy :
         std::initializer_list<CStatDescription const *>{&group, &table}) {
        EXPECT_EQ(copy->getStringDescription(), "");
        EXPECT_EQ(copy->getStatType(), CStatDescription::stNone);
        EXPECT_EQ(copy->getSubStatsCount(), 0U);
        EXPECT_EQ(copy->subStatDescription(0), nullptr);
    }
}

TEST(NumericDescription, UnitsLoadTogether)
{
    CIntegerStatDescription<unsigned int> const description(1129, 1169);

    EXPECT_EQ(description.getAbbrev(), "B");
    StringFetches const fetches;
    EXPECT_EQ(description.getUnit(), "byte");
    EXPECT_EQ(description.getUnits(), "bytes");
    EXPECT_EQ(fetches.count(), 0);
}

TEST(NumericDescription, MissingUnitReadsUnknownFormatName)
{
    // 1171 is "B", and nothing stands behind it.
    CIntegerStatDescription<unsigned int> const description(1129, 1171);

    EXPECT_EQ(description.getUnit(), "B");
    EXPECT_EQ(description.getUnits(), "Unknown format name");
    EXPECT_EQ(description.getAbbrev(), "Unknown format name");
}

TEST(NumericDescription, TakesLiterals)
{
    class Described : public CNumericStatDescriptionBase
    {
    public:
        using CNumericStatDescriptionBase::CNumericStatDescriptionBase;

    protected:
        CStatFormatContainerBase const * getFormats() const override { return StandardDoubleFormats; }
        CStatFormatContainerBase const * getCustomFormats() const override { return CustomDoubleFormats; }
    };
    Described const description("Name", "unit", "units", "u");
    StringFetches const fetches;

    EXPECT_EQ(description.getStringDescription(), "Name");
    EXPECT_EQ(description.getUnit(), "unit");
    EXPECT_EQ(description.getUnits(), "units");
    EXPECT_EQ(description.getAbbrev(), "u");
    EXPECT_EQ(fetches.count(), 0);
}

template <class T>
struct Reading
{
    explicit Reading(T value) { stat = value; }

    CIntegerStatDescription<T> integer{1129, 1195};
    CNumericStatDescription<T> number{1129, 1195};
    CValueStat<T> stat{nullptr, 1, integer};
};

TEST(NumericDescription, ReadsTheValueOfItsType)
{
    Reading<unsigned short> const small(65535);
    Reading<unsigned int> const medium(4294967295U);
    Reading<long long> const large(-5);

    EXPECT_EQ(small.integer.getInteger(&small.stat), 65535);
    EXPECT_EQ(small.number.getNumeric(&small.stat), 65535.0);
    EXPECT_EQ(medium.integer.getInteger(&medium.stat), 4294967295LL);
    EXPECT_EQ(medium.integer.getNumeric(&medium.stat), 4294967295.0);
    EXPECT_EQ(large.integer.getInteger(&large.stat), -5);
    EXPECT_EQ(large.number.getNumeric(&large.stat), -5.0);
    EXPECT_TRUE(large.integer.isInteger());
    EXPECT_TRUE(large.integer.isNumeric());
    EXPECT_FALSE(large.integer.isString());
    EXPECT_FALSE(large.number.isInteger());
    EXPECT_EQ(large.number.getInteger(&large.stat), 0);
}

TEST(NumericDescription, ReadsAPercentage)
{
    CNumericStatDescription<percentVal> const description(1131, 1198);
    CValueStat<percentVal> stat(nullptr, 1, description);
    stat = percentVal(12.5);

    EXPECT_EQ(description.getNumeric(&stat), 12.5);
    EXPECT_TRUE(description.isNumeric());
    EXPECT_FALSE(description.isInteger());
}

TEST(LeafDescription, AddressesReadAsNothing)
{
    CMACAddressStatDescription const mac(1152);
    CIPAddressStatDescription const ip(1153);
    CProtocolIdStatDescription const protocol(1160);
    for (CStatDescription const * const description :
         std::initializer_list<CStatDescription const *>{&mac, &ip, &protocol}) {
        EXPECT_FALSE(description->isNumeric());
        EXPECT_FALSE(description->isInteger());
        EXPECT_FALSE(description->isString());
        EXPECT_EQ(description->getStatType(), CStatDescription::stValue);
        EXPECT_EQ(description->getOid(), 0);
        EXPECT_EQ(description->subStatDescription(0), nullptr);
    }
}

TEST(LeafDescription, ValueTypeIsAlwaysNone)
{
    EXPECT_EQ(CStringStatDescription("x").getValueType(), CStatFormatBase::vtNone);
    EXPECT_EQ(CMACAddressStatDescription("x").getValueType(), CStatFormatBase::vtNone);
    EXPECT_EQ(CIntegerStatDescription<unsigned int>(1, 2).getValueType(), CStatFormatBase::vtNone);
}

TEST(StatDescription, CopyingAndComparingAreInert)
{
    CNumericStatDescription<unsigned int> const original(1129, 1195);
    CNumericStatDescription<unsigned int> const copy(original);
    CNumericStatDescription<unsigned int> assigned(1130, 1169);
    assigned = original;

    EXPECT_EQ(copy.getStringDescription(), "");
    EXPECT_EQ(copy.getUnit(), "");
    EXPECT_EQ(copy.getStatType(), CStatDescription::stNone);
    EXPECT_EQ(assigned.getStringDescription(), "Data");
    EXPECT_FALSE(original == original);
    EXPECT_EQ(CStatDescription().getStatType(), CStatDescription::stNone);
}

TEST(GroupDescription, NumbersItsChildrenFromOne)
{
    CStringStatDescription const first("First");
    CStringStatDescription const second("Second");
    CStatDescription const * const children[] = {&first, &second, nullptr};
    CStructStatDescription const group(1107, children);

    EXPECT_EQ(first.getOid(), 1);
    EXPECT_EQ(second.getOid(), 2);
    EXPECT_EQ(group.getOid(), 0);
    EXPECT_EQ(group.getSubStatsCount(), 2U);
    EXPECT_EQ(group.subStatDescription(1), &second);
    EXPECT_EQ(group.subStatDescription(2), nullptr);
    EXPECT_EQ(group.getStatType(), CStatDescription::stStruct);
    EXPECT_EQ(group.getRowDescription(), nullptr);
    EXPECT_EQ(CStructStatDescription(1107, children, static_cast<unsigned short>(1)).getOid(), 1);
}

TEST(GroupDescription, TableKindsKnowTheirRows)
{
    CStringStatDescription const row("Row");
    CStatDescription const * const children[] = {&row, nullptr};
    CStructStatDescription const fixed(1135, children, &row);
    CDynamicArrayStatDescription const dynamic(1149, &row);

    EXPECT_EQ(fixed.getStatType(), CStatDescription::stTable);
    EXPECT_EQ(fixed.getRowDescription(), &row);
    EXPECT_EQ(dynamic.getStatType(), CStatDescription::stDynamicArray);
    EXPECT_EQ(dynamic.getSubStatsCount(), 1U);
    EXPECT_EQ(dynamic.subStatDescription(0), &row);
    EXPECT_EQ(dynamic.subStatDescription(1), nullptr);
    EXPECT_EQ(row.getOid(), 1) << "the group wrote it, the table doesn't";
}

TEST(GroupDescription, HasNoFormats)
{
    CStructStatDescription const & group = CAgentStatistic::groupDescription();

    EXPECT_EQ(group.getFormatCount(), 0U);
    EXPECT_EQ(group.getFormat(0), nullptr);
    EXPECT_EQ(group.formatValue(nullptr, 0, nullptr), "Ketrin can not format this statistics");
    CStringStatDescription const row("Row");
    EXPECT_EQ(CDynamicArrayStatDescription(1149, &row).formatValue(nullptr, 0, nullptr),
              "Ketrin can not format this statistics");
}

} // namespace
