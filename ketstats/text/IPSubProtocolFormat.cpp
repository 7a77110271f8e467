#include "ketstats/text/IPSubProtocolFormat.h"

#include "ketstats/text/StatFormatContainer.h"
#include "ketstats/text/StringIds.h"

#include <iterator>

namespace KetStats {

namespace {

struct CIPSubProtocolName
{
    unsigned int number;
    char const * shortName;
    char const * longName;
};

// Numbers that nobody had named read as themselves. 0 is never looked up.
// clang-format off
constexpr CIPSubProtocolName names[] = {
    {0, "0", "0"},
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

constexpr bool eachStandsAtItsNumber()
{
    for (unsigned int i = 0; i < std::size(names); ++i)
        if (names[i].number != i)
            return false;
    return true;
}
static_assert(eachStandsAtItsNumber(), "names are looked up by position");

std::string nameOf(long long number, char const * CIPSubProtocolName::*name, void * context)
{
    if (number < 1 || number >= static_cast<long long>(std::size(names)))
        return (*StandardProtocolIdFormats)[0].formatValue(number, context);
    return names[number].*name;
}

} // namespace

CIPSubProtocolShortNameStatFormat::CIPSubProtocolShortNameStatFormat()
    : CIntegerStatFormatBase(StringIds::shortNameFormat)
{}

std::string CIPSubProtocolShortNameStatFormat::formatValue(long long value, void * context) const
{
    return nameOf(value, &CIPSubProtocolName::shortName, context);
}

CIPSubProtocolLongNameStatFormat::CIPSubProtocolLongNameStatFormat()
    : CIntegerStatFormatBase(StringIds::longNameFormat)
{}

std::string CIPSubProtocolLongNameStatFormat::formatValue(long long value, void * context) const
{
    return nameOf(value, &CIPSubProtocolName::longName, context);
}

} // namespace KetStats
