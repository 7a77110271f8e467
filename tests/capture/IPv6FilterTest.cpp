#include "tests/support/Filters.h"
#include "tests/support/IPv6Frames.h"

#include <gtest/gtest.h>

using namespace test;

namespace {

constexpr auto ptAny = CIPPortFilter::ptAny;
constexpr auto ptSource = CIPPortFilter::ptSource;
constexpr auto ptDestination = CIPPortFilter::ptDestination;
constexpr auto ptTCP = CIPPortFilter::ptTCP;
constexpr auto ptUDP = CIPPortFilter::ptUDP;
constexpr unsigned int tcp = 6;
constexpr unsigned int udp = 17;

Bytes cut(Bytes const & frame, std::size_t length)
{
    return {frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length)};
}

TEST(IPv6Filter, SeesThroughEveryFraming)
{
    Bytes const plain = ipv6Frame(v6A, v6B, 60, extension(tcp) + tcpHeader(80, 1025));
    for (Bytes const & frame : {plain, tagged(plain, 5), tagged(tagged(tagged(plain, 5), 6), 7), snap(plain),
                                tagged(snap(plain), 5)}) {
        EXPECT_TRUE(passes(address6("2001:db8::a", CIPv6AddrFilter::apSource), frame));
        EXPECT_FALSE(passes(address6("2001:db8::a", CIPv6AddrFilter::apDestination), frame));
        EXPECT_TRUE(passes(address6("2001:db8::b", CIPv6AddrFilter::apDestination), frame));
        EXPECT_TRUE(passes(protocol6(tcp), frame));
        EXPECT_FALSE(passes(protocol6(60), frame));
        EXPECT_TRUE(passes(port6(80, ptTCP), frame));
        EXPECT_FALSE(passes(port6(81, ptTCP), frame));
    }
}

TEST(IPv6Filter, PassesNothingElse)
{
    Bytes frame = ipv6Frame(v6A, v6B, tcp, tcpHeader(80, 1025));
    frame[13] = 0xDE;

    EXPECT_FALSE(passes(address6("2001:db8::a", 8), frame));
    EXPECT_FALSE(passes(protocol6(tcp), frame));
    EXPECT_FALSE(passes(port6(80, ptAny), frame));
    EXPECT_TRUE(passes(no(port6(80, ptAny)), frame));
    EXPECT_FALSE(passes(subprotocol(tcp), ipv6Frame(v6A, v6B, tcp, tcpHeader(80, 1025))));
}

TEST(IPv6Filter, OfAPortLooksAtTheEndAndTransportOfItsType)
{
    Bytes const ofTcp = ipv6Frame(v6A, v6B, tcp, tcpHeader(80, 1025));
    Bytes const ofUdp = ipv6Frame(v6A, v6B, udp, udpHeader(80, 1025));
    Bytes const other = ipv6Frame(v6A, v6B, 47, tcpHeader(80, 1025));

    struct
    {
        CIPPortFilter::ePortType type;
        bool tcpSource, tcpDestination, udpSource, udpDestination;
    } const expected[] = {
        {ptAny, true, true, true, true},           {ptSource, true, false, true, false},
        {ptDestination, false, true, false, true}, {ptTCP, true, true, false, false},
        {ptUDP, false, false, true, true},
    };
    for (auto const & row : expected) {
        EXPECT_EQ(passes(port6(80, row.type), ofTcp), row.tcpSource) << row.type;
        EXPECT_EQ(passes(port6(1025, row.type), ofTcp), row.tcpDestination) << row.type;
        EXPECT_EQ(passes(port6(80, row.type), ofUdp), row.udpSource) << row.type;
        EXPECT_EQ(passes(port6(1025, row.type), ofUdp), row.udpDestination) << row.type;
        EXPECT_FALSE(passes(port6(80, row.type), other)) << row.type;
    }
    EXPECT_FALSE(passes(port6(80, static_cast<CIPPortFilter::ePortType>(5)), ofTcp));
}

TEST(IPv6Filter, OfAPortPassesNoFragmentButTheFirst)
{
    Bytes const first = ipv6Frame(v6A, v6B, 44, fragmentHeader(tcp, 0, true) + tcpHeader(80, 1025));
    Bytes const later = ipv6Frame(v6A, v6B, 44, fragmentHeader(tcp, 185, false) + tcpHeader(80, 1025));

    EXPECT_TRUE(passes(port6(80, ptTCP), first));
    EXPECT_FALSE(passes(port6(80, ptTCP), later));
    EXPECT_TRUE(passes(protocol6(tcp), later));
}

// At each length what the counting says: a header that isn't whole ends the walk, and half a port is none.
TEST(IPv6Filter, ReadsACutChainAsTheCountingDoes)
{
    Bytes const frame = ipv6Frame(v6A, v6B, 0, extension(43, 16) + extension(udp) + udpHeader(5000, 53));
    for (unsigned int captured = 14; captured <= frame.size(); ++captured) {
        Bytes const part = cut(frame, captured);
        unsigned int const number = captured < 14 + 40 + 16 ? 0 : captured < 14 + 40 + 24 ? 43 : udp;
        for (unsigned int asked : {0U, 43U, udp})
            EXPECT_EQ(passes(protocol6(asked), part), asked == number) << captured;
        EXPECT_EQ(passes(port6(5000, ptSource), part), captured >= 14 + 40 + 24 + 4) << captured;
    }
}

TEST(IPv6Filter, WalksOverSixteenHeaders)
{
    for (unsigned int headers : {16U, 17U}) {
        Bytes chain;
        for (unsigned int i = 1; i <= headers; ++i)
            chain = chain + extension(i == headers ? udp : 60);
        Bytes const frame = ipv6Frame(v6A, v6B, 60, chain + udpHeader(5000, 53));
        EXPECT_EQ(passes(protocol6(udp), frame), headers == 16);
        EXPECT_EQ(passes(protocol6(60), frame), headers == 17);
        EXPECT_EQ(passes(port6(53, ptUDP), frame), headers == 16);
    }
}

TEST(IPv6Filter, OfAnAddressReadsAnyPosition)
{
    Bytes const frame = ipv6Frame(v6A, v6B, tcp, tcpHeader(80, 1025));

    EXPECT_TRUE(passes(address6("::a:2001:db8", 12), frame));
    for (unsigned int beyond : {1000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF0U, 0xFFFFFFFFU}) {
        EXPECT_TRUE(passes(address6("::", beyond), frame)) << beyond;
        EXPECT_FALSE(passes(address6("::1", beyond), frame)) << beyond;
    }
    EXPECT_TRUE(passes(address6("2001:db8::", 24), cut(frame, 14 + 24 + 15))) << "what was cut off is zero";
}

TEST(VlanFilter, LooksAtTheTagOfItsKindAndAtNoPriority)
{
    Bytes const plain = tcpFrame(hostA, hostB, 80, 1025);
    Bytes const one = tagged(plain, 0xE005);
    Bytes const two = tagged(tagged(plain, 0x0007, 0x9100), 0x3005, 0x88A8);
    Bytes const three = tagged(two, 0x0FFF);

    EXPECT_FALSE(passes(vlan(0), plain));
    EXPECT_TRUE(passes(vlan(5), one));
    EXPECT_FALSE(passes(vlan(5, CVlanFilter::vtInner), one));
    EXPECT_TRUE(passes(vlan(5), two));
    EXPECT_FALSE(passes(vlan(7), two));
    EXPECT_TRUE(passes(vlan(7, CVlanFilter::vtInner), two));
    EXPECT_TRUE(passes(vlan(0xFFF), three));
    EXPECT_TRUE(passes(vlan(5, CVlanFilter::vtInner), three));
    EXPECT_FALSE(passes(vlan(7, CVlanFilter::vtInner), three)) << "a third tag isn't looked at";
}

TEST(VlanFilter, OfATagThatWasCutOffReadsZero)
{
    Bytes const frame = tagged(tcpFrame(hostA, hostB, 80, 1025), 0x0FFF);

    EXPECT_TRUE(passes(vlan(0), cut(frame, 14)));
    EXPECT_TRUE(passes(vlan(0xF00), cut(frame, 15)));
    EXPECT_FALSE(passes(vlan(0), cut(frame, 12)));
}

TEST(VlanFilter, OfWhatIsNoIdentifierPassesNothing)
{
    Bytes const frame = tagged(tcpFrame(hostA, hostB, 80, 1025), 0x1000);

    EXPECT_FALSE(passes(vlan(0x1000), frame));
    EXPECT_FALSE(passes(vlan(0, static_cast<CVlanFilter::eTag>(2)), tagged(tagged(frame, 0), 0)));
}

TEST(IPv6Filter, DescribesItselfShortWhereThereAreNoExtensionHeaders)
{
    std::string const text = address6("2001:db8::a", 8)->GetDescription();

    EXPECT_EQ(text.substr(0, text.find(" or (vlan")),
              "ip6 src host 2001:db8::a or (ether[12:2] < 0x600 and ether[14:2] = 0xaaaa and "
              "ether[16] = 0x03 and ether[20:2] = 0x86dd and (ether[30:4] = 0x20010db8 and "
              "ether[34:4] = 0x00000000 and ether[38:4] = 0x00000000 and ether[42:4] = 0x0000000a))");
}

// The example of docs/filters.md.
TEST(IPv6Filter, DescribesTheWalkHeaderByHeader)
{
    std::string const longer = "ip6[41] * ((0x80040888 >> (28 & ip6[6])) & 15)";
    std::string const expected =
        "(ip6[6] = 6 or "
        "((ip6[6] = 0 or ip6[6] = 43 or ip6[6] = 44 or ip6[6] = 51 or ip6[6] = 60 or ip6[6] = 135) and "
        "ip6[47 + " +
        longer +
        "] >= 0 and (ip6[40] = 6 or ((ip6[6] != 44 or ip6[42:2] < 8) and "
        "((ip6[40] = 0 or ip6[40] = 43 or ip6[40] = 44 or ip6[40] = 51 or ip6[40] = 60 or ip6[40] = 135) and "
        "ip6[55 + " +
        longer + " + ip6[49 + " + longer +
        "] * ((0x80040888 >> (28 & ip6[40])) & 15)] >= 0 and "
        "(ip6[48 + " +
        longer + "] = 6))))))";
    std::string const text = protocol6(6)->GetDescription();

    EXPECT_EQ(text.substr(0, text.find(" or (ether")), expected);
}

TEST(VlanFilter, DescribesItselfShortWhereItStandsAlone)
{
    EXPECT_EQ(vlan(5)->GetDescription(), "vlan 5");
    EXPECT_EQ(no(vlan(5))->GetDescription(), "not (vlan 5)");
    EXPECT_EQ(vlan(7, CVlanFilter::vtInner)->GetDescription(), "vlan and vlan 7");
    EXPECT_EQ(all(vlan(5), from(macA))->GetDescription(),
              "((ether[12:2] = 0x8100 or ether[12:2] = 0x88a8 or ether[12:2] = 0x9100) and "
              "ether[14:2] & 0xfff = 5) and ether src 02:00:00:00:00:0a");
}

} // namespace
