#include "ketstats/schema/AgentStatistic.h"
#include "ketstats/text/StatFormatContainer.h"

#include "tests/support/Bytes.h"
#include "tests/support/Frames.h"
#include "tests/support/HostFormats.h"

#include <gtest/gtest.h>

#include <set>

using namespace KetStats;
using test::CustomFormats;
using test::HostFormat;
using Base = CStatFormatBase;

namespace {

constexpr char invalid[] = "Invalid format for this statistic";

template <class Description, class Value>
struct Leaf
{
    template <class... Arguments>
    explicit Leaf(Value const & value, Arguments... arguments) : description(arguments...)
    {
        stat = value;
    }

    std::string text(unsigned int format, void * context = nullptr) const
    {
        return description.formatValue(&stat, format, context);
    }

    Description description;
    CValueStat<Value> stat{nullptr, 1, description};
};

template <class T>
struct IntegerLeaf : Leaf<CIntegerStatDescription<T>, T>
{
    explicit IntegerLeaf(T value) : Leaf<CIntegerStatDescription<T>, T>(value, 1129U, 1195U) {}
};
template <class T>
struct NumericLeaf : Leaf<CNumericStatDescription<T>, T>
{
    explicit NumericLeaf(T value) : Leaf<CNumericStatDescription<T>, T>(value, 1131U, 1198U) {}
};
struct MACLeaf : Leaf<CMACAddressStatDescription, CMACAddrPacked>
{
    explicit MACLeaf(CMACAddrPacked const & value) : Leaf(value, 1152U) {}
};
struct IPLeaf : Leaf<CIPAddressStatDescription, CIPAddress>
{
    explicit IPLeaf(CIPAddress const & value) : Leaf(value, 1153U) {}
};
struct ProtocolLeaf : Leaf<CProtocolIdStatDescription, CProtocolIdPacked>
{
    explicit ProtocolLeaf(CProtocolIdPacked const & value) : Leaf(value, 1160U) {}
};
struct StringLeaf
{
    std::string text(unsigned int format, void * context = nullptr) const
    {
        return description.formatValue(&stat, format, context);
    }

    CStringStatDescription description{1128U};
    CStringStat stat{nullptr, 1, description, "a text"};
};

CMACAddrPacked station()
{
    unsigned char const bytes[] = {0x00, 0x11, 0x22, 0xAA, 0xBB, 0xCC};
    return CMACAddr(bytes);
}

CProtocolIdPacked protocol(std::initializer_list<unsigned char> value)
{
    CProtocolId id;
    id.Set(static_cast<int>(value.size()), value.begin());
    return id;
}

void expectOffers(CStatDescription const & description, CStatFormatContainerBase const & standard,
                  CStatFormatContainerBase * custom)
{
    EXPECT_EQ(description.getFormatCount(), standard.size());
    for (unsigned int i = 0; i < standard.size(); ++i)
        EXPECT_EQ(description.getFormat(i), &standard[i]) << i;

    auto * const first = new HostFormat(Base::vtNone);
    auto * const second = new HostFormat(Base::vtNone);
    CustomFormats const pushed(custom, first);
    EXPECT_EQ(description.getFormatCount(), standard.size() + 1);
    custom->push_back(second);
    EXPECT_EQ(description.getFormatCount(), standard.size() + 2);
    EXPECT_EQ(description.getFormat(0), &standard[0]);
    EXPECT_EQ(description.getFormat(standard.size() - 1), &standard[standard.size() - 1]);
    EXPECT_EQ(description.getFormat(standard.size()), first);
    EXPECT_EQ(description.getFormat(standard.size() + 1), second);
}

TEST(DescriptionFormats, StandardOnesComeFirstAndTheHostsBehindThem)
{
    expectOffers(NumericLeaf<percentVal>(1.0).description, *StandardDoubleFormats, CustomDoubleFormats);
    expectOffers(NumericLeaf<unsigned short>(1).description, *StandardDoubleFormats, CustomDoubleFormats);
    expectOffers(NumericLeaf<unsigned int>(1).description, *StandardDoubleFormats, CustomDoubleFormats);
    expectOffers(NumericLeaf<long long>(1).description, *StandardDoubleFormats, CustomDoubleFormats);
    expectOffers(IntegerLeaf<unsigned short>(1).description, *StandardIntegerFormats, CustomIntegerFormats);
    expectOffers(IntegerLeaf<unsigned int>(1).description, *StandardIntegerFormats, CustomIntegerFormats);
    expectOffers(IntegerLeaf<long long>(1).description, *StandardIntegerFormats, CustomIntegerFormats);
    expectOffers(StringLeaf().description, *StandardStringFormats, CustomStringFormats);
    expectOffers(MACLeaf(station()).description, *StandardMACFormats, CustomMACFormats);
    expectOffers(IPLeaf(1).description, *StandardIPFormats, CustomIPFormats);
    expectOffers(ProtocolLeaf(protocol({6})).description, *StandardProtocolIdFormats,
                 CustomProtocolIdFormats);
}

TEST(DescriptionFormats, WithoutStandardFormatsTheHostsStartAtZero)
{
    struct Described : CValueStatDescription
    {
        Described() : CValueStatDescription("bare") {}
        CStatFormatContainerBase const * getFormats() const override { return &none; }
        CStatFormatContainerBase const * getCustomFormats() const override { return &own; }

        CStatFormatContainerBase none{Base::vtString};
        CStatFormatContainerBase own{Base::vtString};
    } described;
    auto * const format = new CStringFormat;
    described.own.push_back(format);

    EXPECT_EQ(described.getFormatCount(), 1U);
    EXPECT_EQ(described.getFormat(0), format);
    EXPECT_EQ(described.formatValue(nullptr, 0, nullptr), "Ketrin can not format this statistics")
        << "the base of the leaves shows nothing by itself";
}

// All descriptions of leaves of the whole tree.
void collect(CStatDescription const & description, std::set<CStatDescription const *> & leaves)
{
    for (unsigned int i = 0; i < description.getSubStatsCount(); ++i)
        collect(*description.subStatDescription(i), leaves);
    if (description.getStatType() == CStatDescription::stValue)
        leaves.insert(&description);
}

TEST(DescriptionFormats, ACustomFormatAppearsOnAllOfItsKindAtOnceAndGoesWithClear)
{
    std::set<CStatDescription const *> leaves;
    collect(CAgentStatistic::groupDescription(), leaves);
    auto const integersWith = [&](unsigned int count) {
        int integers = 0;
        int others = 0;
        for (CStatDescription const * const leaf : leaves) {
            if (leaf->isInteger()) {
                EXPECT_EQ(leaf->getFormatCount(), count);
                ++integers;
            } else {
                bool const isProtocol = dynamic_cast<CProtocolIdStatDescription const *>(leaf) != nullptr;
                EXPECT_EQ(leaf->getFormatCount(), leaf->isNumeric() ? 7U : isProtocol ? 3U : 1U);
                ++others;
            }
        }
        EXPECT_GT(integers, 20);
        EXPECT_GT(others, 10);
    };
    integersWith(7);

    CustomFormats const pushed(CustomIntegerFormats, new HostFormat(Base::vtInteger));
    integersWith(8);

    CustomIntegerFormats->clear();
    integersWith(7);
}

TEST(IntegerDescriptionFormats, ShowTheValueInEachFormat)
{
    EXPECT_EQ(IntegerLeaf<unsigned short>(65535).text(0), "65535");
    EXPECT_EQ(IntegerLeaf<unsigned int>(4294967295U).text(0), "4294967295");
    IntegerLeaf<long long> const large(1536LL << 40);
    char const * const expected[] = {"1688849860263936",
                                     "1649267441664.00 K",
                                     "1610612736.00 M",
                                     "1572864.00 G",
                                     "1536.00 T",
                                     "1.50 P",
                                     "0.00 E"};
    for (unsigned int i = 0; i < std::size(expected); ++i)
        EXPECT_EQ(large.text(i), expected[i]);
}

TEST(IntegerDescriptionFormats, AreUnsignedWithoutAMultiplierAndSignedWithOne)
{
    IntegerLeaf<long long> const negative(-2048);

    EXPECT_EQ(negative.text(0), "18446744073709549568");
    EXPECT_EQ(negative.text(1), "-2.00 K");
}

TEST(IntegerDescriptionFormats, AnswerTheErrorTextThroughADoubleFormat)
{
    CustomFormats const pushed(CustomIntegerFormats, new CFixedPointStatFormat);

    EXPECT_EQ(IntegerLeaf<unsigned int>(5).text(7), invalid);
}

TEST(IntegerDescriptionFormats, AskForTheIntegerWhateverTheKindOfTheFormat)
{
    CustomFormats const pushed(CustomIntegerFormats);
    for (auto const type :
         {Base::vtNone, Base::vtInteger, Base::vtDouble, Base::vtMAC, Base::vtIP, Base::vtString})
        CustomIntegerFormats->push_back(new HostFormat(type));
    std::string context = "me";

    for (unsigned int i = 7; i < 13; ++i) {
        EXPECT_EQ(IntegerLeaf<unsigned short>(65535).text(i), "integer 65535");
        EXPECT_EQ(IntegerLeaf<unsigned int>(4294967295U).text(i, &context), "integer 4294967295 for me");
        EXPECT_EQ(IntegerLeaf<long long>(-5).text(i), "integer -5");
    }
}

TEST(NumericDescriptionFormats, ShowTheNumberInEachFormat)
{
    NumericLeaf<percentVal> const percentage(12.345);
    EXPECT_EQ(percentage.text(0), "12.35") << "just above 12.345";
    EXPECT_EQ(percentage.text(1), "0.01 K");
    EXPECT_EQ(NumericLeaf<unsigned short>(65535).text(0), "65535.00");
    EXPECT_EQ(NumericLeaf<unsigned int>(4294967295U).text(3), "4.00 G");
    EXPECT_EQ(NumericLeaf<long long>(-5).text(0), "-5.00");
}

TEST(NumericDescriptionFormats, ShowZeroThroughAnIntegerFormatWhateverTheValue)
{
    CustomFormats const pushed(CustomDoubleFormats, new CIntegerFormat);
    CustomDoubleFormats->push_back(new HostFormat(Base::vtInteger));
    std::string context = "me";

    EXPECT_EQ(NumericLeaf<percentVal>(12.5).text(7), "0");
    EXPECT_EQ(NumericLeaf<unsigned int>(77).text(7), "0");
    EXPECT_EQ(NumericLeaf<percentVal>(12.5).text(8, &context), "integer 0 for me");
}

TEST(NumericDescriptionFormats, GoByTheKindOfTheFormat)
{
    CustomFormats const pushed(CustomDoubleFormats, new HostFormat(Base::vtDouble));
    for (auto const type : {Base::vtNone, Base::vtMAC, Base::vtIP, Base::vtString})
        CustomDoubleFormats->push_back(new HostFormat(type));
    NumericLeaf<percentVal> const percentage(12.5);
    std::string context = "me";

    EXPECT_EQ(percentage.text(7, &context), "double 12.500000 for me");
    for (unsigned int i = 8; i < 12; ++i)
        EXPECT_EQ(percentage.text(i), invalid);
}

TEST(StringDescriptionFormats, ShowTheText)
{
    CustomFormats const pushed(CustomStringFormats, new HostFormat(Base::vtString));
    CustomStringFormats->push_back(new CIntegerFormat);
    StringLeaf const leaf;
    std::string context = "me";

    EXPECT_EQ(leaf.text(0), "a text");
    EXPECT_EQ(leaf.text(1, &context), "string a text for me");
    EXPECT_EQ(leaf.text(2), invalid);
}

TEST(MACDescriptionFormats, ShowTheAddress)
{
    CustomFormats const pushed(CustomMACFormats, new HostFormat(Base::vtMAC));
    CustomMACFormats->push_back(new CStringFormat);
    MACLeaf const leaf(station());
    std::string context = "me";

    EXPECT_EQ(leaf.text(0), "00-11-22-AA-BB-CC");
    EXPECT_EQ(leaf.text(1, &context), "MAC 00-11-22-AA-BB-CC for me");
    EXPECT_EQ(leaf.text(2), invalid);
}

TEST(IPDescriptionFormats, ShowTheAddress)
{
    CustomFormats const pushed(CustomIPFormats, new HostFormat(Base::vtIP));
    CustomIPFormats->push_back(new CIntegerHexFormat);
    CustomIPFormats->push_back(new CMACAddressFormat);
    IPLeaf const leaf(0xFE00007FU); // 127.0.0.254
    std::string context = "me";

    EXPECT_EQ(leaf.text(0), "127.0.0.254");
    EXPECT_EQ(leaf.text(1, &context), "integer 4261412991 for me") << "the high half is 0, not the sign";
    EXPECT_EQ(leaf.text(2), "0xFE00007F");
    EXPECT_EQ(leaf.text(3), invalid);
}

TEST(IPDescriptionFormats, AddressZeroReadsOthersInEveryFormat)
{
    CustomFormats const pushed(CustomIPFormats, new HostFormat(Base::vtIP));
    CustomIPFormats->push_back(new CMACAddressFormat);
    IPLeaf const leaf(0);

    for (unsigned int i = 0; i < leaf.description.getFormatCount(); ++i)
        EXPECT_EQ(leaf.text(i), "[others]");
    EXPECT_EQ(leaf.text(1000), "[others]") << "no format is looked up";
}

TEST(ProtocolDescriptionFormats, ShowTheSixBytesAsOneNumber)
{
    CustomFormats const pushed(CustomProtocolIdFormats, new HostFormat(Base::vtInteger));
    CustomProtocolIdFormats->push_back(new CIntegerFormat);
    CustomProtocolIdFormats->push_back(new CFixedPointStatFormat);
    ProtocolLeaf const ethernet(protocol({0x08, 0x00}));
    ProtocolLeaf const wide(protocol({0xFF, 0x02, 0x03, 0x04, 0x05, 0x06}));
    std::string context = "me";

    EXPECT_EQ(ethernet.text(0), "0x800");
    EXPECT_EQ(ethernet.text(1), "0x800") << "no name for 2048";
    EXPECT_EQ(ethernet.text(4), "2048");
    EXPECT_EQ(ethernet.text(5), invalid);
    EXPECT_EQ(wide.text(0), "0xFF0203040506");
    EXPECT_EQ(wide.text(3, &context), "integer 280384105612550 for me");
}

TEST(ProtocolDescriptionFormats, NameIPSubProtocols)
{
    ProtocolLeaf const tcp(protocol({6}));

    EXPECT_EQ(tcp.text(0), "0x6");
    EXPECT_EQ(tcp.text(1), "TCP");
    EXPECT_EQ(tcp.text(2), "Transmission Control");
}

template <class Row>
class IdColumn : public testing::Test
{
public:
    static std::string text(Row const & row, unsigned int format)
    {
        CBaseStat const & column = *const_cast<Row &>(row).getChild(0U);
        CStatDescription const & description = *column.getDescription();
        return description.formatValue(&column, format, nullptr);
    }
};

using RowsWithIds = testing::Types<CGenProtoStat<0>, CTcpPortStat, CUdpPortStat>;
class RowNames
{
public:
    template <class Row>
    static std::string GetName(int index)
    {
        return std::array{"SubProtocol", "TcpPort", "UdpPort"}[static_cast<std::size_t>(index)];
    }
};
TYPED_TEST_SUITE(IdColumn, RowsWithIds, RowNames);

TYPED_TEST(IdColumn, OffersHexadecimalAndNamesOnPortsToo)
{
    CStatDescription const & column = *TypeParam::groupDescription().subStatDescription(0);

    ASSERT_EQ(column.getFormatCount(), 3U);
    for (unsigned int i = 0; i < 3; ++i)
        EXPECT_EQ(column.getFormat(i), &(*StandardProtocolIdFormats)[i]);
    TypeParam const row(nullptr, 1, protocol({17}));
    EXPECT_EQ(this->text(row, 0), "0x11");
    EXPECT_EQ(this->text(row, 1), "UDP");
    EXPECT_EQ(this->text(row, 2), "User Datagram");
    TypeParam const wide(nullptr, 1, protocol({0x1F, 0x90}));
    EXPECT_EQ(this->text(wide, 1), "0x1F90");
}

TYPED_TEST(IdColumn, OfARowWithoutAKeyReadsZero)
{
    TypeParam const row(nullptr, 1);

    EXPECT_EQ(this->text(row, 0), "0x0");
    EXPECT_EQ(this->text(row, 1), "0x0");
}

} // namespace
