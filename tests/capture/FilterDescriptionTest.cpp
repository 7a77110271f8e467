#include "ketstats/capture/FieldFilters.h"

#include "tests/support/Allocations.h"
#include "tests/support/Filters.h"
#include "tests/support/Frames.h"

#include <gtest/gtest.h>

#include <optional>

using namespace test;

// That libpcap selects what these texts say is tested with the host, which has libpcap.

namespace {

std::string text(Filter const & filter)
{
    return filter->GetDescription();
}

// An expression for no tag, one and two.
std::string behindTags(std::string const & none, std::string const & one, std::string const & two)
{
    return none + " or (vlan and (" + one + " or (vlan and " + two + ")))";
}

// The frames of IP in a SNAP header that lies behind a number of tags, with more that must hold of them.
std::string inSNAP(unsigned int tags, std::string const & more = {})
{
    auto const at = [tags](unsigned int offset) { return "ether[" + std::to_string(offset + 4 * tags); };
    return "(" + at(12) + ":2] < 0x600 and " + at(14) + ":2] = 0xaaaa and " + at(16) + "] = 0x03 and " +
           at(20) + ":2] = 0x0800" + (more.empty() ? "" : " and " + more) + ")";
}

// What is said of packets behind a type, and of those in a SNAP header, where # stands for the place of the
// byte of the header whose number follows it.
std::string behindTags(std::string const & expression, std::string const & inHeader = {})
{
    std::string depths[3];
    for (unsigned int tags = 0; tags < 3; ++tags) {
        std::string placed;
        for (std::size_t i = 0; i < inHeader.size(); ++i) {
            if (inHeader[i] != '#') {
                placed += inHeader[i];
                continue;
            }
            std::size_t digits = 0;
            placed += std::to_string(std::stoul(inHeader.substr(i + 1), &digits) + 22 + 4 * tags);
            i += digits;
        }
        depths[tags] = expression + " or " + inSNAP(tags, placed);
    }
    return behindTags(depths[0], depths[1], "(" + depths[2] + ")");
}

TEST(FilterDescription, IsTheOneThatWasGiven)
{
    EXPECT_EQ(text(described("my own station", from(macA))), "my own station");
    EXPECT_EQ(text(described("the rest", no(all(from(macA))))), "the rest");
}

TEST(FilterDescription, OfACompoundUsesNoDescriptionsOfItsParts)
{
    EXPECT_EQ(text(all(described("my own station", from(macA)), to(macB))),
              "ether src 02:00:00:00:00:0a and ether dst 02:00:00:00:00:0b");
}

TEST(FilterDescription, OfAddressesNeedsNoTags)
{
    EXPECT_EQ(text(from("00-11-22-AA-BB-CC")), "ether src 00:11:22:aa:bb:cc");
    EXPECT_EQ(text(no(to(macB))), "not ether dst 02:00:00:00:00:0b");
    EXPECT_EQ(text(any(from(macA), to(macA))), "ether src 02:00:00:00:00:0a or ether dst 02:00:00:00:00:0a");
    EXPECT_EQ(text(no(any(from(macA), to(macA)))),
              "not (ether src 02:00:00:00:00:0a or ether dst 02:00:00:00:00:0a)");
}

TEST(FilterDescription, OfIPLooksBehindTwoTagsAndIntoSNAPHeaders)
{
    EXPECT_EQ(
        text(protocol(0x0800)),
        "ip or (ether[12:2] < 0x600 and ether[14:2] = 0xaaaa and ether[16] = 0x03 and ether[20:2] = 0x0800)"
        " or (vlan and "
        "(ip or (ether[16:2] < 0x600 and ether[18:2] = 0xaaaa and ether[20] = 0x03 and ether[24:2] = 0x0800)"
        " or (vlan and "
        "(ip or (ether[20:2] < 0x600 and ether[22:2] = 0xaaaa and ether[24] = 0x03 and ether[28:2] = 0x0800)"
        "))))");
    EXPECT_EQ(text(subprotocol(1)), behindTags("ip proto 1", "ether[#9] = 1"));
    EXPECT_EQ(text(address("10.0.0.1", 12)), behindTags("ip src host 10.0.0.1", "ether[#12:4] = 0x0a000001"));
    EXPECT_EQ(text(address("10.0.0.1", 16)), behindTags("ip dst host 10.0.0.1", "ether[#16:4] = 0x0a000001"));
    EXPECT_EQ(text(address("10.0.0.1", 20)),
              behindTags("ip[20:4] = 0x0a000001", "ether[#20:4] = 0x0a000001"));
}

TEST(FilterDescription, OfAPortReadsLaterFragmentsToo)
{
    std::string const source = "ip[(ip[0] & 0xf) << 2:2] = 80";
    std::string const destination = "ip[((ip[0] & 0xf) << 2) + 2:2] = 80";
    std::string const snapSource = "ether[((ether[#0] & 0xf) << 2) + #0:2] = 80";
    std::string const snapDestination = "ether[((ether[#0] & 0xf) << 2) + #2:2] = 80";
    std::string const either = " and (" + source + " or " + destination + ")";
    std::string const snapEither = " and (" + snapSource + " or " + snapDestination + ")";
    std::string const transports = "ip proto (6 or 17)";
    std::string const snapTransports = "(ether[#9] = 6 or ether[#9] = 17)";
    auto const shown = [](std::string const & expression, std::string const & inHeader) {
        return behindTags("(" + expression + ")", inHeader);
    };

    EXPECT_EQ(text(port(80, CIPPortFilter::ptTCP)),
              shown("ip proto 6" + either, "ether[#9] = 6" + snapEither));
    EXPECT_EQ(text(port(80, CIPPortFilter::ptUDP)),
              shown("ip proto 17" + either, "ether[#9] = 17" + snapEither));
    EXPECT_EQ(text(port(80, CIPPortFilter::ptAny)), shown(transports + either, snapTransports + snapEither));
    EXPECT_EQ(text(port(80, CIPPortFilter::ptSource)),
              shown(transports + " and " + source, snapTransports + " and " + snapSource));
    EXPECT_EQ(text(port(80, CIPPortFilter::ptDestination)),
              shown(transports + " and " + destination, snapTransports + " and " + snapDestination));
}

TEST(FilterDescription, OfAProtocolNamesEveryFraming)
{
    EXPECT_EQ(
        text(protocol(0x0806)),
        "arp or (ether[12:2] < 0x600 and ether[14:2] = 0xaaaa and ether[16] = 0x03 and ether[20:2] = 0x0806)"
        " or (vlan and "
        "(arp or (ether[16:2] < 0x600 and ether[18:2] = 0xaaaa and ether[20] = 0x03 and ether[24:2] = 0x0806)"
        " or (vlan and "
        "(arp or (ether[20:2] < 0x600 and ether[22:2] = 0xaaaa and ether[24] = 0x03 and ether[28:2] = 0x0806)"
        "))))");
}

std::string withoutTags(unsigned int number)
{
    std::string const expression = text(protocol(number));
    return expression.substr(0, expression.find(" or (vlan"));
}

TEST(FilterDescription, OfAProtocolHasTheFramingsThatItCanComeFrom)
{
    std::string const snap = "ether[14:2] = 0xaaaa and ether[16] = 0x03 and ether[20:2] = ";

    EXPECT_EQ(withoutTags(0x88B5), "ether[12:2] = 0x88b5 or (ether[12:2] < 0x600 and " + snap + "0x88b5)");
    EXPECT_EQ(withoutTags(0x86DD), "ip6 or (ether[12:2] < 0x600 and " + snap + "0x86dd)");
    EXPECT_EQ(withoutTags(0x8137),
              "ether[12:2] = 0x8137 or (ether[12:2] < 0x600 and (ether[14:2] = 0xffff or (" + snap +
                  "0x8137)))");
    EXPECT_EQ(withoutTags(0x0042), "(ether[12:2] < 0x600 and (ether[14] = 0x42 or (" + snap + "0x0042)))");
    EXPECT_EQ(withoutTags(0x00FF),
              "(ether[12:2] < 0x600 and ((ether[14] = 0xff and not ether[15] = 0xff) or (" + snap +
                  "0x00ff)))");
    EXPECT_EQ(withoutTags(0x00AA),
              "(ether[12:2] < 0x600 and ((ether[14] = 0xaa and not (ether[14:2] = 0xaaaa and "
              "ether[16] = 0x03)) or (" +
                  snap + "0x00aa)))");
    EXPECT_EQ(withoutTags(0x0200), "(ether[12:2] < 0x600 and " + snap + "0x0200)");
    EXPECT_EQ(withoutTags(0x8100), "(ether[12:2] < 0x600 and " + snap + "0x8100)");
}

TEST(FilterDescription, SaysOnceWhatIsTheSameAtEveryDepth)
{
    EXPECT_EQ(text(all(subprotocol(1), any(from(macA), to(macA)))),
              "(ether src 02:00:00:00:00:0a or ether dst 02:00:00:00:00:0a) and (" + text(subprotocol(1)) +
                  ")");
    EXPECT_EQ(text(any(subprotocol(1), from(macA))),
              "ether src 02:00:00:00:00:0a or " + text(subprotocol(1)));
}

TEST(FilterDescription, LeavesOutWhatIsSaidAlready)
{
    EXPECT_EQ(text(all(protocol(0x0800), address("10.0.0.1", 12))), text(address("10.0.0.1", 12)));
    EXPECT_EQ(text(all(protocol(0x0800), subprotocol(6), port(80, CIPPortFilter::ptTCP))),
              text(port(80, CIPPortFilter::ptTCP)));
    EXPECT_EQ(text(all(all(from(macA)), any(from(macA)))), text(from(macA)));
    EXPECT_EQ(text(no(no(from(macA)))), text(from(macA)));
    EXPECT_EQ(text(no(all(no(from(macA))))), text(from(macA)));
    EXPECT_EQ(text(any(protocol(0x0800), subprotocol(6))), behindTags("ip or ip proto 6"));
}

TEST(FilterDescription, SaysNotOfTheWholeWhereItCan)
{
    EXPECT_EQ(text(no(protocol(0x0800))), "not (" + text(protocol(0x0800)) + ")");
    EXPECT_EQ(text(all(no(protocol(0x0800)), no(subprotocol(1)))),
              "not (" + text(any(protocol(0x0800), subprotocol(1))) + ")");
    EXPECT_EQ(text(all(from(macA), no(protocol(0x0800)))),
              "ether src 02:00:00:00:00:0a and not (" + text(protocol(0x0800)) + ")");
}

// Of frames with more tags, and of those in a SNAP header.
TEST(FilterDescription, GuardsWhatWouldSelectFramesThatItIsNotWrittenFor)
{
    auto const one = [](std::string const & tcp, std::string const & udp) {
        return "((ether src 02:00:00:00:00:0a and not " + tcp + ") or (ether src 02:00:00:00:00:0b and " +
               udp + "))";
    };
    auto const at = [&](unsigned int tags) {
        std::string const field = "ether[" + std::to_string(31 + 4 * tags) + "] = ";
        return "((not " + inSNAP(tags) + " and " + one("ip proto 6", "ip proto 17") + ") or " +
               inSNAP(tags, one(field + "6", field + "17")) + ")";
    };
    std::string const guard = "(not ether proto (0x8100 or 0x88a8 or 0x9100) and ";

    EXPECT_EQ(text(any(all(from(macA), no(subprotocol(6))), all(from(macB), subprotocol(17)))),
              behindTags(guard + at(0) + ")", guard + at(1) + ")", at(2)));
}

// Of a protocol beside IP nothing holds in a packet of IP.
TEST(FilterDescription, OfIPInSNAPHeadersLeavesOutWhatIsOfOtherProtocols)
{
    std::string const both = text(any(subprotocol(1), protocol(0x0806)));

    EXPECT_EQ(both.substr(0, both.find(" or (vlan")),
              "ip proto 1 or arp or (ether[12:2] < 0x600 and ether[14:2] = 0xaaaa and ether[16] = 0x03 and "
              "ether[20:2] = 0x0806) or " +
                  inSNAP(0, "ether[31] = 1"));
}

// So many compounds, one within the other, that each hold so many others beside.
Filter compounds(unsigned int wide, unsigned int deep)
{
    Filter filter = from(macA);
    for (unsigned int level = 0; level < deep; ++level) {
        Filter next = level % 2 ? all() : any();
        for (unsigned int i = 0; i < wide; ++i) {
            unsigned int const number = level * wide + i;
            Filter other = all(protocol(number), address("10.0.0.1", number + 20));
            static_cast<CCompoundFilter &>(*next).Add(other.release());
        }
        static_cast<CCompoundFilter &>(*next).Add(filter.release());
        filter = std::move(next);
    }
    return filter;
}

// What is made on the way, for each character of the text.
double workOf(Filter const & filter)
{
    Allocations const allocations;
    std::size_t const length = text(filter).size();
    return static_cast<double>(allocations.count()) / static_cast<double>(length);
}

TEST(FilterDescription, TakesWorkLikeItsText)
{
    double const small = workOf(compounds(10, 2));

    EXPECT_LT(workOf(compounds(1000, 2)), 1.5 * small);
    EXPECT_LT(workOf(compounds(10, 200)), 1.5 * small);
}

TEST(FilterDescription, OfEverythingAndNothing)
{
    EXPECT_EQ(text(all()), "len >= 0");
    EXPECT_EQ(text(any()), "len < 0");
    EXPECT_EQ(text(no(any())), "len >= 0");
    EXPECT_EQ(text(all(all(), from(macA))), text(from(macA)));
    EXPECT_EQ(text(all(any(), from(macA))), "len < 0");
    EXPECT_EQ(text(any(any(), from(macA))), text(from(macA)));
    EXPECT_EQ(text(any(all(), from(macA))), "len >= 0");
    EXPECT_EQ(text(protocol(bytes("00 00 00 01 08 00"))), "len < 0");
    EXPECT_EQ(text(port(80, static_cast<CIPPortFilter::ePortType>(5))), "len < 0");
}

TEST(FilterDescription, OfAPositionBehindAllFramesKnowsThatThereAreZeros)
{
    EXPECT_EQ(text(address("0.0.0.0", 0xFFFFFFFE)), text(protocol(0x0800)));
    EXPECT_EQ(text(address("0.0.0.1", 0xFFFFFFFE)), "len < 0");
}

std::string ofPackets(Filter const & filter, unsigned int protocol, std::optional<unsigned int> header = {})
{
    return filter->GetPacketExpression(protocol, header);
}

constexpr unsigned int ip = 0x0800;
constexpr unsigned int ipv6 = 0x86DD;

TEST(FilterDescription, OfPacketsIsWrittenForThePlaceOfTheirHeader)
{
    EXPECT_EQ(ofPackets(address("10.0.0.1", 12), ip), "ip src host 10.0.0.1");
    EXPECT_EQ(ofPackets(address("10.0.0.1", 12), ip, 4), "ether[16:4] = 0x0a000001");
    EXPECT_EQ(ofPackets(address6("2001:db8::a", 24), ipv6), "ip6 dst host 2001:db8::a");
    EXPECT_EQ(ofPackets(address6("::1", 24), ipv6, 0),
              "(ether[24:4] = 0x00000000 and ether[28:4] = 0x00000000 and ether[32:4] = 0x00000000 and "
              "ether[36:4] = 0x00000001)");
    EXPECT_EQ(ofPackets(port(80, CIPPortFilter::ptTCP), ip, 2),
              "(ether[11] = 6 and (ether[((ether[2] & 0xf) << 2) + 2:2] = 80 or "
              "ether[((ether[2] & 0xf) << 2) + 4:2] = 80))");
    EXPECT_EQ(ofPackets(protocol(ip), ip), "ip");
    EXPECT_EQ(ofPackets(protocol(ip), ip, 2), "len >= 0");
}

TEST(FilterDescription, OfPacketsSaysOnceWhatPartsOfACompoundAskFor)
{
    EXPECT_EQ(ofPackets(all(protocol(ip), subprotocol(6), port(80, CIPPortFilter::ptTCP)), ip, 2),
              ofPackets(port(80, CIPPortFilter::ptTCP), ip, 2));
    EXPECT_EQ(ofPackets(all(protocol(ipv6), protocol6(17), port6(53, CIPPortFilter::ptUDP)), ipv6, 4),
              ofPackets(port6(53, CIPPortFilter::ptUDP), ipv6, 4));
    EXPECT_EQ(ofPackets(all(subprotocol(6), no(address("10.0.0.1", 16))), ip, 0),
              "(ether[9] = 6 and not ether[16:4] = 0x0a000001)");
}

TEST(FilterDescription, OfPacketsIsEmptyWhereOthersPassOrMoreIsAskedFor)
{
    EXPECT_EQ(ofPackets(subprotocol(6), ipv6), "") << "which it never passes";
    EXPECT_EQ(ofPackets(subprotocol(6), 0x0806), "");
    EXPECT_EQ(ofPackets(all(from(macA), subprotocol(6)), ip), "");
    EXPECT_EQ(ofPackets(all(vlan(5), protocol6(6)), ipv6), "");
    EXPECT_EQ(ofPackets(any(subprotocol(6), protocol6(6)), ip), "");
    EXPECT_EQ(ofPackets(any(subprotocol(6), protocol(0x0806)), ip), "");
    EXPECT_EQ(ofPackets(all(no(subprotocol(6))), ip), "") << "which passes ARP";
    EXPECT_EQ(ofPackets(no(subprotocol(6)), ip), "ip proto 6") << "its own `negated` is the host's matter";
    EXPECT_EQ(ofPackets(described("web", port(80, CIPPortFilter::ptTCP)), ip, 0),
              ofPackets(port(80, CIPPortFilter::ptTCP), ip, 0));
}

} // namespace
