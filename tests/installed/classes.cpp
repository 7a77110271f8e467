#include "Check.h"

#include "ketstats/ketstats.h"

#include "ketstats/engine/NetworkProtocol.h"
#include "ketstats/engine/ReadWriteGate.h"

#include <cmath>
#include <memory>

using namespace KetStats;

namespace {

// A frame with the first bytes of an IP and of an ARP header behind the same Ethernet header.
struct Frame
{
    explicit Frame(unsigned char low)
    {
        bytes[12] = 8;
        bytes[13] = low;
        bytes[14] = 0x45;
        bytes[23] = 17;
    }

    unsigned char bytes[60] = {};
    CNetworkFrame frame{bytes, sizeof bytes, sizeof bytes};
};

void values()
{
    percentVal percent(12.341);
    check(percent == percentVal(12.349) && percent < 13.0, "percentVal");
    check(COid("1.5.2").toString() == "1.5.2" && COid("1.5").compare(COid("1.5.2")) < 0, "COid");
    check(CIPAddress(0x0100000A) < CIPAddress(0x0200000A), "CIPAddress");
    CSystemTime earlier;
    earlier.getSystemTime();
    CSystemTime later;
    later.getSystemTime();
    check(later - earlier >= 0 && static_cast<_SYSTEMTIME>(later).wYear > 2000, "CSystemTime");
}

// A format of the host's for doubles.
class PercentFormat : public CDoubleStatFormatBase
{
public:
    PercentFormat() : CDoubleStatFormatBase("Percent") {}

    using CDoubleStatFormatBase::formatValue;
    std::string formatValue(double value, void *) const override
    {
        return fixedPointToString(value, getFractionDigits()) + " %";
    }
};

template <class Format>
void format(char const * name)
{
    std::unique_ptr<CStatFormatBase> const made = std::make_unique<Format>();
    check(dynamic_cast<Format *>(made.get()) && !made->getName().empty(), name);
}

template <class List>
void list(unsigned int size, char const * name)
{
    List const made;
    CStatFormatContainerBase const & base = made;
    check(base.size() == size && dynamic_cast<List const *>(&base), name);
}

void formats()
{
    format<CFixedPointStatFormat>("CFixedPointStatFormat");
    format<CIntegerFormat>("CIntegerFormat");
    format<CIntegerHexFormat>("CIntegerHexFormat");
    format<CMACAddressFormat>("CMACAddressFormat");
    format<CIPAddressFormat>("CIPAddressFormat");
    format<CStringFormat>("CStringFormat");
    format<PercentFormat>("CDoubleStatFormatBase");
    format<CIPSubProtocolShortNameStatFormat>("CIPSubProtocolShortNameStatFormat");
    format<CIPSubProtocolLongNameStatFormat>("CIPSubProtocolLongNameStatFormat");
    list<CStandardIntegerFormats>(7, "CStandardIntegerFormats");
    list<CStandardDoubleFormats>(7, "CStandardDoubleFormats");
    list<CStandardMACFormats>(1, "CStandardMACFormats");
    list<CStandardIPFormats>(1, "CStandardIPFormats");
    list<CStandardProtocolIdFormats>(3, "CStandardProtocolIdFormats");
    list<CStandardStringFormats>(1, "CStandardStringFormats");
    Multiplier const dozen(12, "dozen", "dz");
    CIntegerFormat byTheDozen;
    byTheDozen.setMultiplier(&dozen);
    byTheDozen.setFractionDigits(0);
    check(byTheDozen.formatValue(24LL, nullptr) == "2 dz", "Multiplier");
    check(fixedPointToString(0.125, 2) == "0.13", "fixedPointToString");
    check(CStatFormatBase::getDefaultPrecision() >= 0, "default precision");
}

// A leaf with a description of the host's.
template <class Stat, class Description>
void leaf(Description const & description, char const * expected, char const * name)
{
    Stat const stat(nullptr, 1, description);
    CValueStatDescription const & base = description;
    check(base.getOid() == 0 && base.formatValue(&stat, 0, nullptr) == expected, name);
}

void descriptions()
{
    leaf<CValueStat<unsigned int>>(CIntegerStatDescription<unsigned int>(1129, 1195), "0",
                                   "CIntegerStatDescription");
    CNumericStatDescription<percentVal> const percentage(1131, 1198);
    CValueStat<percentVal> share(nullptr, 1, percentage);
    share = percentVal(50.0);
    check(percentage.getNumeric(&share) == 50.0 && percentage.getAbbrev() == "%", "CNumericStatDescription");
    CStatDescription const & whole = percentage;
    check(dynamic_cast<CNumericStatDescriptionBase const *>(&whole), "CNumericStatDescriptionBase");
    leaf<CValueStat<CMACAddrPacked>>(CMACAddressStatDescription(1152), "00-00-00-00-00-00",
                                     "CMACAddressStatDescription");
    leaf<CValueStat<CIPAddress>>(CIPAddressStatDescription("Address"), "[others]",
                                 "CIPAddressStatDescription");
    leaf<CValueStat<CProtocolIdPacked>>(CProtocolIdStatDescription(1160), "0x0",
                                        "CProtocolIdStatDescription");
    CStringStatDescription const text("Text");
    CStringStat const words(nullptr, 1, text, "words");
    check(text.formatValue(&words, 0, nullptr) == "words" && words.getString() == "words",
          "CStringStatDescription");

    CStatDescription const * const children[] = {&percentage, &text, nullptr};
    CStructStatDescription const group(1107, children);
    CDynamicArrayStatDescription const table(1149, &group);
    check(group.getSubStatsCount() == 2 && text.getOid() == 2, "CStructStatDescription");
    check(table.subStatDescription(0) == &group && !table.subStatDescription(1),
          "CDynamicArrayStatDescription");
    check(CStringResources::instance().getString(1100) == "Unknown statistic", "CStringResources");
}

template <class Node>
void node(char const * name)
{
    Node const made(nullptr, 7);
    CBaseStat const & base = made;
    check(base.getId() == 7 && base.getDescription() == &Node::groupDescription() &&
              dynamic_cast<CBaseStaticContainerStat const *>(&base),
          name);
}

template <class Row>
void table(char const * name)
{
    CAgentStatistic const tree;
    bool found = false;
    for (unsigned short id = 5; id <= 10; ++id) {
        CBaseStat const * const child = tree.getChildById(id);
        found = found || (dynamic_cast<typename Row::Container const *>(child) &&
                          dynamic_cast<CBaseHashedContainerStat const *>(child));
    }
    check(found, name);
    node<Row>(name);
}

void tree()
{
    node<CGlobalStatisticsStat>("CGlobalStatisticsStat");
    node<CGlobalErrorsStat>("CGlobalErrorsStat");
    node<CGlobalFilterStat>("CGlobalFilterStat");
    node<CFrameTablesStat>("CFrameTablesStat");
    node<CFrameTypesStat>("CFrameTypesStat");
    node<CFrameSizesStat>("CFrameSizesStat");
    node<CIPPortsStat>("CIPPortsStat");
    node<CTcpPortStat>("CTcpPortStat");
    node<CUdpPortStat>("CUdpPortStat");
    table<CStationStat>("CStationStat");
    table<CProtocolStat>("CProtocolStat");
    table<CMACConnectionStat>("CMACConnectionStat");
    table<CIPConnectionStat>("CIPConnectionStat");
    table<CARPStat>("CARPStat");
    table<CGenProtoStat<0>>("CGenProtoStat");
    CAgentStatistic const whole;
    CBaseStat const & unicast = *whole.frameTables.getChild(0)->getChild(0);
    check(dynamic_cast<CFrameTypeOrSizeStat const *>(&unicast), "CFrameTypeOrSizeStat");
    CBaseStat const & number = whole.globalStatistics.sampleNumber;
    check(dynamic_cast<CBaseValueStat const *>(&number), "CBaseValueStat");
}

void engine()
{
    Frame ip(0x00);
    CIPProtocol packet(&ip.frame);
    CNetworkProtocol & protocol = packet;
    check(protocol.analyze() && packet.getSubprotocolId() == CNetworkProtocol::udpId(), "CIPProtocol");
    Frame arp(0x06);
    CARPProtocol binding(&arp.frame);
    check(binding.analyze() && binding.getProtocolId() == CNetworkProtocol::arpId(), "CARPProtocol");

    CReadWriteGate gate;
    gate.enterWriter();
    gate.leaveWriter();
    gate.enterReader();
    gate.leaveReader();
    check(gate.waiting() == 0, "CReadWriteGate");

    CNdisHook adapter;
    CNDISRequesterProxy requester(&adapter);
    check(requester.GetLinkSpeed() == 0 && requester.GetLong(1) == 0, "CNDISRequesterProxy");
}

} // namespace

void everyClass()
{
    values();
    formats();
    descriptions();
    tree();
    engine();
}
