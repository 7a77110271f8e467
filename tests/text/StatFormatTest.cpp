#include "ketstats/text/StatFormat.h"
#include "ketstats/text/IPSubProtocolFormat.h"
#include "tests/support/StringFetches.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

using namespace KetStats;

namespace {

constexpr char invalid[] = "Invalid format for this statistic";
constexpr unsigned int missing = 9999;

std::vector<std::unique_ptr<CStatFormatBase>> concreteFormats()
{
    std::vector<std::unique_ptr<CStatFormatBase>> formats;
    formats.push_back(std::make_unique<CFixedPointStatFormat>());
    formats.push_back(std::make_unique<CIntegerFormat>());
    formats.push_back(std::make_unique<CIntegerHexFormat>());
    formats.push_back(std::make_unique<CIPSubProtocolShortNameStatFormat>());
    formats.push_back(std::make_unique<CIPSubProtocolLongNameStatFormat>());
    formats.push_back(std::make_unique<CMACAddressFormat>());
    formats.push_back(std::make_unique<CIPAddressFormat>());
    formats.push_back(std::make_unique<CStringFormat>());
    return formats;
}

// A format of a host, which implements nothing.
class CHostFormat : public CStatFormatBase
{
public:
    CHostFormat(unsigned int theName, ValueType theType) : CStatFormatBase(theName, theType) {}
    CHostFormat(std::string const & theName, ValueType theType) : CStatFormatBase(theName, theType) {}
};

std::string const text = "a text";
CMACAddr const address;

TEST(StatFormat, KindsAreNumberedFromNone)
{
    EXPECT_EQ(CStatFormatBase::vtNone, 0U);
    EXPECT_EQ(CStatFormatBase::vtInteger, 1U);
    EXPECT_EQ(CStatFormatBase::vtDouble, 2U);
    EXPECT_EQ(CStatFormatBase::vtMAC, 3U);
    EXPECT_EQ(CStatFormatBase::vtIP, 4U);
    EXPECT_EQ(CStatFormatBase::vtString, 5U);
    static_assert(sizeof(CStatFormatBase::ValueType) == 4);
}

TEST(StatFormat, ConcreteOnesHaveAKindAndAName)
{
    struct Expected
    {
        CStatFormatBase::ValueType valueType;
        char const * name;
    };
    Expected const expected[] = {
        {CStatFormatBase::vtDouble, "Fixed point float"},
        {CStatFormatBase::vtInteger, "Integer value"},
        {CStatFormatBase::vtInteger, "Integer hex value"},
        {CStatFormatBase::vtInteger, "Short IP subprotocol name"},
        {CStatFormatBase::vtInteger, "Long IP subprotocol name"},
        {CStatFormatBase::vtMAC, "MAC address"},
        {CStatFormatBase::vtIP, "IP address"},
        {CStatFormatBase::vtString, "string"},
    };
    auto const formats = concreteFormats();
    ASSERT_EQ(formats.size(), std::size(expected));

    for (std::size_t i = 0; i < formats.size(); ++i) {
        EXPECT_EQ(formats[i]->getValueType(), expected[i].valueType) << expected[i].name;
        EXPECT_EQ(formats[i]->getName(), expected[i].name);
        EXPECT_EQ(formats[i]->getMultiplier(), nullptr);
    }
}

TEST(StatFormat, NameIsFetchedOnceAndNotBeforeItIsAskedFor)
{
    test::StringFetches const fetches;
    CIntegerFormat const format;
    EXPECT_EQ(format.formatValue(1LL, nullptr), "1");
    EXPECT_EQ(fetches.count(), 0);

    EXPECT_EQ(format.getName(), "Integer value");
    EXPECT_EQ(&format.getName(), &format.getName());
    EXPECT_EQ(fetches.count(), 1);
}

TEST(StatFormat, LiteralNameIsNeverFetched)
{
    test::StringFetches const fetches;
    CHostFormat const format("Roman numerals", CStatFormatBase::vtInteger);

    EXPECT_EQ(format.getName(), "Roman numerals");
    EXPECT_EQ(fetches.count(), 0);
}

TEST(StatFormat, MissingNameReadsUnknownStatisticWithoutFetchingAgain)
{
    CHostFormat const format(missing, CStatFormatBase::vtInteger);
    test::StringFetches const first;
    EXPECT_EQ(format.getName(), "Unknown statistic") << "not a word for formats";
    EXPECT_EQ(first.count(), 2);

    test::StringFetches const further;
    EXPECT_EQ(format.getName(), "Unknown statistic");
    EXPECT_EQ(further.count(), 0);
}

TEST(StatFormat, EmptyLiteralNameStaysEmpty)
{
    test::StringFetches const fetches;
    EXPECT_EQ(CHostFormat("", CStatFormatBase::vtInteger).getName(), "");
    EXPECT_EQ(fetches.count(), 0);
}

TEST(StatFormat, OnlyNumbersTakeMultipliers)
{
    using Base = CStatFormatBase;
    for (auto const type :
         {Base::vtNone, Base::vtInteger, Base::vtDouble, Base::vtMAC, Base::vtIP, Base::vtString}) {
        CHostFormat format("x", type);
        bool const isNumber = type == Base::vtInteger || type == Base::vtDouble;
        EXPECT_EQ(format.canUseMultiplier(), isNumber) << type;

        format.setMultiplier(&mKilo);
        EXPECT_EQ(format.getMultiplier(), isNumber ? &mKilo : nullptr) << type;

        format.setMultiplier(nullptr);
        EXPECT_EQ(format.getMultiplier(), nullptr) << type;
    }
}

TEST(StatFormat, AddressesAndStringsIgnoreAMultiplier)
{
    CMACAddressFormat mac;
    CIPAddressFormat ip;
    CStringFormat string;
    for (CStatFormatBase * const format : std::initializer_list<CStatFormatBase *>{&mac, &ip, &string}) {
        format->setMultiplier(&mMega);
        EXPECT_FALSE(format->canUseMultiplier());
        EXPECT_EQ(format->getMultiplier(), nullptr);
    }
}

TEST(StatFormat, NegativePlacesAreIgnored)
{
    CFixedPointStatFormat format;
    format.setFractionDigits(3);

    format.setFractionDigits(-1);
    EXPECT_EQ(format.formatValue(1.5, nullptr), "1.500");
    format.setFractionDigits(std::numeric_limits<int>::min());
    EXPECT_EQ(format.formatValue(1.5, nullptr), "1.500");
    EXPECT_EQ(format.getFractionDigits(), 3);
}

TEST(StatFormat, WithoutPlacesADoubleReadsWithoutAPoint)
{
    CFixedPointStatFormat format;
    format.setFractionDigits(0);

    EXPECT_EQ(format.formatValue(0.49, nullptr), "0");
    EXPECT_EQ(format.formatValue(0.6, nullptr), "1");
    EXPECT_EQ(format.formatValue(12.0, nullptr), "12");
}

template <std::size_t Case>
bool locale(char * digits, unsigned int size)
{
    static constexpr char const * texts[] = {"",    "abc", "3",          "-1",        "0",
                                             "12x", " 4",  "4294967295", "2147483648"};
    EXPECT_EQ(size, 20U);
    std::strcpy(digits, texts[Case]);
    return true;
}

TEST(DefaultPrecision, IsTheNumberThatTheLocaleStartsWith)
{
    EXPECT_EQ(precisionOf(locale<0>), 0) << "no digits at all";
    EXPECT_EQ(precisionOf(locale<1>), 0) << "no digits in front";
    EXPECT_EQ(precisionOf(locale<2>), 3);
    EXPECT_EQ(precisionOf(locale<3>), 2) << "negative";
    EXPECT_EQ(precisionOf(locale<4>), 0);
    EXPECT_EQ(precisionOf(locale<5>), 12);
    EXPECT_EQ(precisionOf(locale<6>), 4);
}

TEST(DefaultPrecision, IsNeverNegativeHoweverLargeTheNumber)
{
    EXPECT_EQ(precisionOf(locale<7>), std::numeric_limits<int>::max());
    EXPECT_EQ(precisionOf(locale<8>), std::numeric_limits<int>::max());
}

TEST(DefaultPrecision, IsTwoIfTheLocaleDoesNotTell)
{
    EXPECT_EQ(precisionOf([](char *, unsigned int) { return false; }), 2);
    EXPECT_EQ(precisionOf([](char * digits, unsigned int) { return std::strcpy(digits, "7") == nullptr; }), 2)
        << "what a failure left behind isn't read";
}

TEST(DefaultPrecision, IsWhatAFormatStartsWith)
{
    for (auto const & format : concreteFormats())
        EXPECT_EQ(format->getFractionDigits(), CStatFormatBase::getDefaultPrecision());
}

// Each overload of each format: the value that it is for, or the error text.
TEST(StatFormat, OverloadsOfOtherKindsAnswerTheErrorText)
{
    using Base = CStatFormatBase;
    struct Expected
    {
        bool takesString, takesMAC, takesInteger, takesDouble, takesRaw;
    };
    Expected const expected[] = {
        {false, false, false, true, false}, // fixed point
        {false, false, true, false, false}, // integer
        {false, false, true, false, false}, // hexadecimal
        {false, false, true, false, false}, // short name
        {false, false, true, false, false}, // long name
        {false, true, false, false, true},  // MAC address
        {false, false, true, false, false}, // IP address
        {true, false, false, false, false}, // string
    };
    auto const formats = concreteFormats();
    unsigned char const raw[8] = {1, 2, 3, 4, 5, 6, 7, 8};

    for (std::size_t i = 0; i < formats.size(); ++i) {
        Base const & format = *formats[i];
        EXPECT_EQ(format.formatValue(text, nullptr) != invalid, expected[i].takesString) << i;
        EXPECT_EQ(format.formatValue(address, nullptr) != invalid, expected[i].takesMAC) << i;
        EXPECT_EQ(format.formatValue(6LL, nullptr) != invalid, expected[i].takesInteger) << i;
        EXPECT_EQ(format.formatValue(6.0, nullptr) != invalid, expected[i].takesDouble) << i;
        EXPECT_EQ(format.formatValue(raw, sizeof raw, nullptr) != invalid, expected[i].takesRaw) << i;
    }
}

TEST(StatFormat, RootAnswersTheErrorTextForEverything)
{
    CHostFormat const format("x", CStatFormatBase::vtNone);

    EXPECT_EQ(format.formatValue(text, nullptr), invalid);
    EXPECT_EQ(format.formatValue(address, nullptr), invalid);
    EXPECT_EQ(format.formatValue(1LL, nullptr), invalid);
    EXPECT_EQ(format.formatValue(1.0, nullptr), invalid);
    EXPECT_EQ(format.formatValue(static_cast<void const *>("12345678"), 8, nullptr), invalid);
}

TEST(StatFormat, RawNumbersAnswerTheErrorTextEvenIfTheFormatTakesThatNumber)
{
    class CEagerInteger : public CIntegerStatFormatBase
    {
    public:
        CEagerInteger() : CIntegerStatFormatBase("eager") {}
        using CIntegerStatFormatBase::formatValue;
        std::string formatValue(long long, void *) const override { return "asked"; }
    };
    class CEagerDouble : public CDoubleStatFormatBase
    {
    public:
        CEagerDouble() : CDoubleStatFormatBase("eager") {}
        using CDoubleStatFormatBase::formatValue;
        std::string formatValue(double, void *) const override { return "asked"; }
    };
    long long const integer = 5;
    double const number = 5.0;

    EXPECT_EQ(CEagerInteger().formatValue(&integer, sizeof integer, nullptr), invalid);
    EXPECT_EQ(CEagerDouble().formatValue(&number, sizeof number, nullptr), invalid);
    EXPECT_EQ(CIntegerFormat().formatValue(&integer, sizeof integer, nullptr), invalid);
    EXPECT_EQ(CFixedPointStatFormat().formatValue(&number, sizeof number, nullptr), invalid);
}

TEST(StatFormat, BasesOfNumbersSetTheirKind)
{
    struct CInteger : CIntegerStatFormatBase
    {
        CInteger(std::string const & theName) : CIntegerStatFormatBase(theName) {}
        CInteger(unsigned int theName) : CIntegerStatFormatBase(theName) {}
    };
    struct CDouble : CDoubleStatFormatBase
    {
        CDouble(std::string const & theName) : CDoubleStatFormatBase(theName) {}
        CDouble(unsigned int theName) : CDoubleStatFormatBase(theName) {}
    };

    EXPECT_EQ(CInteger("literal").getValueType(), CStatFormatBase::vtInteger);
    EXPECT_EQ(CInteger("literal").getName(), "literal");
    EXPECT_EQ(CInteger(1167U).getName(), "Integer value");
    EXPECT_EQ(CDouble("literal").getValueType(), CStatFormatBase::vtDouble);
    EXPECT_EQ(CDouble("literal").getName(), "literal");
    EXPECT_EQ(CDouble(1168U).getName(), "Fixed point float");
    EXPECT_EQ(CInteger("x").formatValue(1LL, nullptr), invalid) << "the base shows nothing by itself";
    EXPECT_EQ(CDouble("x").formatValue(1.0, nullptr), invalid);
    static_assert(!std::is_constructible_v<CStatFormatBase, std::string const &, CStatFormatBase::ValueType>);
    static_assert(!std::is_constructible_v<CIntegerStatFormatBase, unsigned int>);
    static_assert(!std::is_constructible_v<CDoubleStatFormatBase, unsigned int>);
}

TEST(FixedPointFormat, DividesByItsMultiplierAndAppendsTheSymbol)
{
    CFixedPointStatFormat format;
    format.setFractionDigits(2);
    EXPECT_EQ(format.formatValue(1536.0, nullptr), "1536.00");

    format.setMultiplier(&mKiloCS);
    EXPECT_EQ(format.formatValue(1536.0, nullptr), "1.50 K");
    EXPECT_EQ(format.formatValue(-1536.0, nullptr), "-1.50 K");

    format.setMultiplier(nullptr);
    EXPECT_EQ(format.formatValue(1536.0, nullptr), "1536.00");
}

TEST(FixedPointFormat, AMultiplierOfZeroRunsToInfinity)
{
    Multiplier const zero(0, "zero", "Z");
    CFixedPointStatFormat format;
    format.setMultiplier(&zero);

    EXPECT_EQ(format.formatValue(1.0, nullptr), "inf Z");
    EXPECT_EQ(format.formatValue(-1.0, nullptr), "-inf Z");
    EXPECT_EQ(format.formatValue(0.0, nullptr), "nan Z");
}

TEST(IntegerFormat, ShowsUnsignedDigitsWithoutAMultiplier)
{
    CIntegerFormat format;
    format.setFractionDigits(5);

    EXPECT_EQ(format.formatValue(0LL, nullptr), "0");
    EXPECT_EQ(format.formatValue(4294967296LL, nullptr), "4294967296");
    EXPECT_EQ(format.formatValue(-1LL, nullptr), "18446744073709551615");
    EXPECT_EQ(format.formatValue(std::numeric_limits<long long>::min(), nullptr), "9223372036854775808");
    EXPECT_EQ(format.formatValue(std::numeric_limits<long long>::max(), nullptr), "9223372036854775807");
}

TEST(IntegerFormat, ShowsASignAndPlacesWithAMultiplier)
{
    CIntegerFormat format;
    format.setFractionDigits(2);
    format.setMultiplier(&mKilo);

    EXPECT_EQ(format.formatValue(4294967296LL, nullptr), "4294967.30 k");
    EXPECT_EQ(format.formatValue(-1500LL, nullptr), "-1.50 k");
    EXPECT_EQ(format.formatValue(0LL, nullptr), "0.00 k");
    format.setFractionDigits(0);
    EXPECT_EQ(format.formatValue(2500LL, nullptr), "3 k");
    format.setMultiplier(&mExaCS);
    format.setFractionDigits(1);
    EXPECT_EQ(format.formatValue(std::numeric_limits<long long>::min(), nullptr), "-8.0 E");
}

TEST(IntegerFormat, AMultiplierOfZeroRunsToInfinity)
{
    Multiplier const zero(0, "zero", "Z");
    CIntegerFormat format;
    format.setMultiplier(&zero);

    EXPECT_EQ(format.formatValue(5LL, nullptr), "inf Z");
}

TEST(IntegerHexFormat, ShowsUnpaddedUpperCase)
{
    CIntegerHexFormat const format;

    EXPECT_EQ(format.formatValue(0LL, nullptr), "0x0");
    EXPECT_EQ(format.formatValue(255LL, nullptr), "0xFF");
    EXPECT_EQ(format.formatValue(0x123456789ABCDEFLL, nullptr), "0x123456789ABCDEF");
    EXPECT_EQ(format.formatValue(-1LL, nullptr), "0xFFFFFFFFFFFFFFFF");
}

TEST(IntegerHexFormat, TakesAMultiplierAndIgnoresIt)
{
    CIntegerHexFormat format;
    format.setMultiplier(&mKilo);
    format.setFractionDigits(3);

    EXPECT_EQ(format.getMultiplier(), &mKilo);
    EXPECT_EQ(format.formatValue(4096LL, nullptr), "0x1000");
}

TEST(IPAddressFormat, ShowsTheLowHalfAsADottedQuad)
{
    // Network order: the first octet is the one at the lowest address.
    unsigned char const octets[] = {192, 0, 2, 255};
    unsigned int networkOrder = 0;
    std::memcpy(&networkOrder, octets, sizeof networkOrder);
    CIPAddressFormat const format;

    EXPECT_EQ(format.formatValue(static_cast<long long>(networkOrder), nullptr), "192.0.2.255");
    EXPECT_EQ(format.formatValue(0x0100007FLL, nullptr), "127.0.0.1");
    EXPECT_EQ(format.formatValue(0x123456780100007FLL, nullptr), "127.0.0.1") << "the high half is ignored";
    EXPECT_EQ(format.formatValue(0LL, nullptr), "0.0.0.0");
    EXPECT_EQ(format.formatValue(-1LL, nullptr), "255.255.255.255");
}

TEST(MACAddressFormat, ShowsTheTextOfTheAddress)
{
    unsigned char const bytes[] = {0x00, 0x11, 0x22, 0xAA, 0xBB, 0xCC};
    CMACAddr const station(bytes);
    CMACAddressFormat const format;

    EXPECT_EQ(format.formatValue(station, nullptr), "00-11-22-AA-BB-CC");
    EXPECT_EQ(format.formatValue(station, nullptr), static_cast<std::string>(station));
}

TEST(MACAddressFormat, TakesSixRawBytesWhateverTheSize)
{
    unsigned char const raw[] = {0x00, 0x11, 0x22, 0xAA, 0xBB, 0xCC};
    CMACAddressFormat const format;

    EXPECT_EQ(format.formatValue(raw, 6, nullptr), "00-11-22-AA-BB-CC");
    EXPECT_EQ(format.formatValue(raw, 0, nullptr), "00-11-22-AA-BB-CC");
}

TEST(MACAddressFormat, RawBytesGoThroughTheOverloadOfADerivedClass)
{
    class CMaskedFormat : public CMACAddressFormat
    {
    public:
        using CMACAddressFormat::formatValue;
        std::string formatValue(CMACAddr const & value, void * context) const override
        {
            EXPECT_EQ(value.bytes[5], 6);
            return "masked for " + *static_cast<std::string *>(context);
        }
    };
    unsigned char const raw[] = {1, 2, 3, 4, 5, 6};
    std::string reader = "me";

    EXPECT_EQ(CMaskedFormat().formatValue(raw, 6, &reader), "masked for me");
}

TEST(StringFormat, ShowsTheTextItself)
{
    using namespace std::string_literals;
    EXPECT_EQ(CStringFormat().formatValue("a\0b"s, nullptr), "a\0b"s);
    EXPECT_EQ(CStringFormat().formatValue(std::string(), nullptr), "");
}

// A format in which no field is as it was at construction.
template <class Format>
void expectCopyAndAssignmentTakeAllFields()
{
    Format original;
    original.setMultiplier(&mGiga);
    original.setFractionDigits(7);
    bool const isNumber = original.canUseMultiplier();

    Format const copy(original);
    Format assigned;
    EXPECT_EQ(&(assigned = original), &assigned);

    for (Format const * const format : {&copy, static_cast<Format const *>(&assigned)}) {
        EXPECT_EQ(format->getMultiplier(), isNumber ? &mGiga : nullptr);
        EXPECT_EQ(format->getFractionDigits(), 7);
        EXPECT_EQ(format->getName(), original.getName());
        EXPECT_EQ(format->getValueType(), original.getValueType());
    }
}

TEST(StatFormat, CopyAndAssignmentTakeAllFields)
{
    expectCopyAndAssignmentTakeAllFields<CFixedPointStatFormat>();
    expectCopyAndAssignmentTakeAllFields<CIntegerFormat>();
    expectCopyAndAssignmentTakeAllFields<CIntegerHexFormat>();
    expectCopyAndAssignmentTakeAllFields<CIPSubProtocolShortNameStatFormat>();
    expectCopyAndAssignmentTakeAllFields<CIPSubProtocolLongNameStatFormat>();
    expectCopyAndAssignmentTakeAllFields<CMACAddressFormat>();
    expectCopyAndAssignmentTakeAllFields<CIPAddressFormat>();
    expectCopyAndAssignmentTakeAllFields<CStringFormat>();
}

TEST(StatFormat, AssignmentTakesKindAndNameToo)
{
    CHostFormat const literal("A literal", CStatFormatBase::vtString);
    CHostFormat assigned(1167U, CStatFormatBase::vtInteger);
    assigned = literal;
    EXPECT_EQ(assigned.getName(), "A literal");
    EXPECT_EQ(assigned.getValueType(), CStatFormatBase::vtString);

    CHostFormat const unfetched(1167U, CStatFormatBase::vtInteger);
    CHostFormat const copy(unfetched);
    assigned = unfetched;
    test::StringFetches const fetches;
    EXPECT_EQ(copy.getName(), "Integer value");
    EXPECT_EQ(assigned.getName(), "Integer value");
    EXPECT_EQ(fetches.count(), 2) << "the resource was copied, and each loads for itself";
    EXPECT_EQ(assigned.getValueType(), CStatFormatBase::vtInteger);
}

struct ProtocolName
{
    int number;
    char const * shortName;
    char const * longName;
};

// clang-format off
ProtocolName const protocolNames[] = {
    {1, "ICMP", "Internet Control Message"},
    {2, "IGMP", "Internet Group Management"},
    {3, "GGP", "Gateway-to-Gateway"},
    {4, "IP", "IP in IP (encapsulation)"},
    {5, "ST", "Stream"},
    {6, "TCP", "Transmission Control"},
    {7, "CBT", "CBT"},
    {8, "EGP", "Exterior Gateway Protocol"},
    {9, "IGP", "any private interior gateway"},
    {10, "BBN-RCC-MON", "BBN RCC Monitoring"},
    {11, "NVP-II", "Network Voice Protocol"},
    {12, "PUP", "PUP"},
    {13, "ARGUS", "ARGUS"},
    {14, "EMCON", "EMCON"},
    {15, "XNET", "Cross Net Debugger"},
    {16, "CHAOS", "Chaos"},
    {17, "UDP", "User Datagram"},
    {18, "MUX", "Multiplexing"},
    {19, "DCN-MEAS", "DCN Measurement Subsystems"},
    {20, "HMP", "Host Monitoring"},
    {21, "PRM", "Packet Radio Measurement"},
    {22, "XNS-IDP", "XEROX NS IDP"},
    {23, "TRUNK-1", "Trunk-1"},
    {24, "TRUNK-2", "Trunk-2"},
    {25, "LEAF-1", "Leaf-1"},
    {26, "LEAF-2", "Leaf-2"},
    {27, "RDP", "Reliable Data Protocol"},
    {28, "IRTP", "Internet Reliable Transaction"},
    {29, "ISO-TP4", "ISO Transport Protocol Class 4"},
    {30, "NETBLT", "Bulk Data Transfer Protocol"},
    {31, "MFE-NSP", "MFE Network Services Protocol"},
    {32, "MERIT-INP", "MERIT Internodal Protocol"},
    {33, "SEP", "Sequential Exchange Protocol"},
    {34, "3PC", "Third Party Connect Protocol"},
    {35, "IDPR", "Inter-Domain Policy Routing Protocol"},
    {36, "XTP", "XTP"},
    {37, "DDP", "Datagram Delivery Protocol"},
    {38, "IDPR-CMTP", "IDPR Control Message Transport Proto"},
    {39, "TP++", "TP++ Transport Protocol"},
    {40, "IL", "IL Transport Protocol"},
    {41, "IPv6", "Ipv6"},
    {42, "SDRP", "Source Demand Routing Protocol"},
    {43, "IPv6-Route", "Routing Header for IPv6"},
    {44, "IPv6-Frag", "Fragment Header for IPv6"},
    {45, "IDRP", "Inter-Domain Routing Protocol"},
    {46, "RSVP", "Reservation Protocol"},
    {47, "GRE", "General Routing Encapsulation"},
    {48, "MHRP", "Mobile Host Routing Protocol"},
    {49, "BNA", "BNA"},
    {50, "ESP", "Encap Security Payload for IPv6"},
    {51, "AH", "Authentication Header for IPv6"},
    {52, "I-NLSP", "Integrated Net Layer Security"},
    {53, "SWIPE", "IP with Encryption"},
    {54, "NARP", "NBMA Address Resolution Protocol"},
    {55, "MOBILE", "IP Mobility"},
    {56, "TLSP", "Transport Layer Security Protocol"},
    {57, "SKIP", "SKIP"},
    {58, "IPv6-ICMP", "ICMP for IPv6"},
    {59, "IPv6-NoNxt", "No Next Header for IPv6"},
    {60, "IPv6-Opts", "Destination Options for IPv6"},
    {61, "61", "61"},
    {62, "CFTP", "CFTP"},
    {63, "63", "63"},
    {64, "SAT-EXPAK", "SATNET and Backroom EXPAK"},
    {65, "KRYPTOLAN", "Kryptolan"},
    {66, "RVD", "MIT Remote Virtual Disk Protocol"},
    {67, "IPPC", "Internet Pluribus Packet Core"},
    {68, "68", "68"},
    {69, "SAT-MON", "SATNET Monitoring"},
    {70, "VISA", "VISA Protocol"},
    {71, "IPCV", "Internet Packet Core Utility"},
    {72, "CPNX", "Computer Protocol Network Executive"},
    {73, "CPHB", "Computer Protocol Heart Beat"},
    {74, "WSN", "Wang Span Network"},
    {75, "PVP", "Packet Video Protocol"},
    {76, "BR-SAT-MON", "Backroom SATNET Monitoring"},
    {77, "SUN-ND", "SUN ND PROTOCOL-Temporary"},
    {78, "WB-MON", "WIDEBAND Monitoring"},
    {79, "WB-EXPAK", "WIDEBAND EXPAK"},
    {80, "ISO-IP", "ISO Internet Protocol"},
    {81, "VMTP", "VMTP"},
    {82, "SECURE-VMTP", "SECURE-VMTP"},
    {83, "VINES", "VINES"},
    {84, "TTP", "TTP"},
    {85, "NSFNET-IGP", "NSFNET-IGP"},
    {86, "DGP", "Dissimilar Gateway Protocol"},
    {87, "TCF", "TCF"},
    {88, "EIGRP", "EIGRP"},
    {89, "OSPFIGP", "OSPFIGP"},
    {90, "Sprite-RPC", "Sprite RPC Protocol"},
    {91, "LARP", "Locus Address Resolution Protocol"},
    {92, "MTP", "Multicast Transport Protocol"},
    {93, "AX.25", "AX.25 Frames"},
    {94, "IPIP", "IP-within-IP Encapsulation Protocol"},
    {95, "MICP", "Mobile Internetworking Control Pro."},
    {96, "SCC-SP", "Semaphore Communications Sec. Pro."},
    {97, "ETHERIP", "Ethernet-within-IP Encapsulation"},
    {98, "ENCAP", "Encapsulation Header"},
    {99, "99", "99"},
    {100, "GMTP", "GMTP"},
    {101, "IFMP", "Ipsilon Flow Management Protocol"},
    {102, "PNNI", "PNNI over IP"},
};
// clang-format on

TEST(IPSubProtocolNames, AllReadAsInTheTable)
{
    static_assert(std::size(protocolNames) == 102);
    CIPSubProtocolShortNameStatFormat const shortNames;
    CIPSubProtocolLongNameStatFormat const longNames;

    for (ProtocolName const & protocol : protocolNames) {
        EXPECT_EQ(shortNames.formatValue(static_cast<long long>(protocol.number), nullptr),
                  protocol.shortName);
        EXPECT_EQ(longNames.formatValue(static_cast<long long>(protocol.number), nullptr), protocol.longName);
    }
}

TEST(IPSubProtocolNames, NumbersWithoutANameReadInHexadecimal)
{
    CIPSubProtocolShortNameStatFormat const shortNames;
    CIPSubProtocolLongNameStatFormat const longNames;
    struct
    {
        long long number;
        char const * text;
    } const expected[] = {
        {0, "0x0"},
        {103, "0x67"},
        {-1, "0xFFFFFFFFFFFFFFFF"},
        {0x100000006, "0x100000006"}, // no part of the number is cut off
        {std::numeric_limits<long long>::min(), "0x8000000000000000"},
        {std::numeric_limits<long long>::max(), "0x7FFFFFFFFFFFFFFF"},
    };

    for (auto const & one : expected) {
        EXPECT_EQ(shortNames.formatValue(one.number, nullptr), one.text);
        EXPECT_EQ(longNames.formatValue(one.number, nullptr), one.text);
    }
}

TEST(IPSubProtocolNames, IgnoreMultiplierAndPlaces)
{
    CIPSubProtocolShortNameStatFormat format;
    format.setMultiplier(&mKilo);
    format.setFractionDigits(1);

    EXPECT_EQ(format.formatValue(17LL, nullptr), "UDP");
    EXPECT_EQ(format.formatValue(2000LL, nullptr), "0x7D0");
}

} // namespace
