#include "host/capture/MediumExpression.h"

#include "host/capture/LinkType.h"

#include "ketstats/capture/EthernetAnalysis.h"
#include "ketstats/capture/FieldFilters.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

namespace ketmon {

namespace {

constexpr unsigned int ipv4 = 0x0800;
constexpr unsigned int ipv6 = 0x86DD;
constexpr unsigned int arp = 0x0806;
constexpr unsigned int ipx = 0x8137;
using ethernet::lowestType;
constexpr unsigned int deepest = 2; // tags that an expression looks behind
constexpr char const * always = "len >= 0";
constexpr char const * never = "len < 0";

// One of the ways in which frames of a medium carry a protocol.
struct CFraming
{
    std::string condition;
    unsigned int header;      // where its header begins
    bool isOfLibpcap = false; // which then knows the protocol, and its fields, by their names
};

using CFramings = std::vector<CFraming>;

std::string field(unsigned int offset, unsigned int bytes)
{
    return bytes == 1 ? fmt::format("ether[{}]", offset) : fmt::format("ether[{}:{}]", offset, bytes);
}

std::string is(unsigned int offset, unsigned int bytes, unsigned int value)
{
    return fmt::format("{} = {:#0{}x}", field(offset, bytes), value, 2 + 2 * bytes);
}

// libpcap gives "and" and "or" the same rank.
std::string joined(std::vector<std::string> const & parts, char const * between)
{
    return parts.size() == 1 ? parts.front() : fmt::format("({})", fmt::join(parts, between));
}

std::string all(std::vector<std::string> const & parts)
{
    return parts.empty() ? always : joined(parts, " and ");
}

std::string any(std::vector<std::string> const & parts)
{
    return parts.empty() ? never : joined(parts, " or ");
}

// Where a cooked frame has its protocol, and what comes behind it, for so many tags.
struct CCooked
{
    unsigned int first;  // the protocol in front of all tags
    unsigned int behind; // the header of all

    unsigned int type(unsigned int tags) const { return tags == 0 ? first : behind + 4 * tags - 2; }
    unsigned int payload(unsigned int tags) const { return behind + 4 * tags; }
};

void addCooked(CFramings & framings, CCooked const & form, unsigned int protocol, unsigned int tags)
{
    std::vector<std::string> front;
    for (unsigned int tag = 0; tag < tags; ++tag)
        front.push_back(any(
            {is(form.type(tag), 2, 0x8100), is(form.type(tag), 2, 0x88A8), is(form.type(tag), 2, 0x9100)}));
    unsigned int const type = form.type(tags);
    unsigned int const payload = form.payload(tags);
    auto const add = [&](std::vector<std::string> parts, unsigned int header) {
        parts.insert(parts.begin(), front.begin(), front.end());
        framings.push_back({all(parts), header});
    };

    std::string const length = tags == 0 ? is(type, 2, 4) : field(type, 2) + " < 0x600";
    std::string const snap = all({is(payload, 2, 0xAAAA), is(payload + 2, 1, 3)});
    if (protocol >= lowestType && !ethernet::isVlanType(protocol)) {
        bool const isKnown = tags == 0 && (protocol == ipv4 || protocol == ipv6 || protocol == arp);
        add({is(type, 2, protocol)}, payload);
        framings.back().isOfLibpcap = isKnown;
    } else if (protocol == 0 && tags == 0) {
        add({field(type, 2) + " < 0x600", field(type, 2) + " != 1", field(type, 2) + " != 4"}, payload);
    }
    if (protocol == ipx) {
        if (tags == 0)
            add({is(type, 2, 1)}, payload);
        add({length, is(payload, 2, 0xFFFF)}, payload);
    }
    if (protocol == 0xAA)
        add({length, is(payload, 1, protocol), "not " + snap}, payload + 3);
    else if (protocol == 0xFF)
        add({length, is(payload, 1, protocol), field(payload + 1, 1) + " != 0xff"}, payload + 3);
    else if (protocol < 0x100)
        add({length, is(payload, 1, protocol)}, payload + 3);
    add({length, snap, is(payload + 6, 2, protocol)}, payload + 8);
}

CFramings cooked(CCooked const & form, unsigned int protocol)
{
    CFramings framings;
    for (unsigned int tags = 0; tags <= deepest; ++tags)
        addCooked(framings, form, protocol, tags);
    return framings;
}

// In the one and the other byte order. By the name of the protocol libpcap means the number that it has on
// the system where it runs.
CFramings loopback(unsigned int protocol)
{
    constexpr unsigned int header = 4;
    auto const family = [](unsigned int number) {
        return fmt::format("{0} = {1} or {0} = {2:#010x}", field(0, 4), number, number << 24);
    };
    if (protocol == ipv4)
        return {{'(' + family(2) + ')', header}};
    if (protocol == ipv6)
        return {{fmt::format("(ip6 or {} or {} or {})", family(24), family(28), family(30)), header}};
    return {};
}

CFramings ppp(unsigned int protocol)
{
    if (protocol != ipv4 && protocol != ipv6)
        return {};
    unsigned int const number = protocol == ipv4 ? 0x21 : 0x57;
    return {{is(0, 4, 0xFF030000 + number), 4},
            {all({is(0, 2, 0xFF03), is(2, 1, number)}), 3},
            {is(0, 2, number), 2},
            {is(0, 1, number), 1}};
}

CFramings framingsOf(std::uint32_t linkType, unsigned int protocol)
{
    auto const onlyIf = [&](bool condition) { return condition ? CFramings{{"", 0, true}} : CFramings(); };
    switch (linkType) {
    case linktype::linuxSll:
        return cooked({14, 16}, protocol);
    case linktype::linuxSll2:
        return cooked({0, 20}, protocol);
    case linktype::null:
    case linktype::loop:
        return loopback(protocol);
    case linktype::ppp:
    case linktype::pppHdlc:
        return ppp(protocol);
    case linktype::ipv4:
        return onlyIf(protocol == ipv4);
    case linktype::ipv6:
        return onlyIf(protocol == ipv6);
    default:
        return onlyIf(protocol == ipv4 || protocol == ipv6);
    }
}

// Where a frame has the address of its sender, behind the number of its bytes.
struct CSender
{
    unsigned int length;
    unsigned int address;
};

std::optional<CSender> senderOf(std::uint32_t linkType)
{
    switch (linkType) {
    case linktype::linuxSll:
        return CSender{5, 6};
    case linktype::linuxSll2:
        return CSender{11, 12};
    default:
        return std::nullopt;
    }
}

class CWriter
{
public:
    explicit CWriter(std::uint32_t linkType)
        : m_sender(senderOf(linkType)),
          m_networks{CNetwork{ipv4, framingsOf(linkType, ipv4)}, CNetwork{ipv6, framingsOf(linkType, ipv6)}},
          m_linkType(linkType)
    {}

    std::string text(CFilter const & filter) const
    {
        std::string const expression = positive(filter);
        return filter.negated ? "not " + (expression.front() == '(' ? expression : '(' + expression + ')')
                              : expression;
    }

private:
    // A protocol whose packets filters look into.
    struct CNetwork
    {
        unsigned int protocol;
        CFramings framings;
    };

    std::string positive(CFilter const & filter) const
    {
        switch (filter.GetFilterId()) {
        case fiProtocol:
            return ofProtocol(static_cast<CProtocolFilter const &>(filter));
        case fiSourceMAC:
            return ofSender(static_cast<CSrcMACFilter const &>(filter).address);
        case fiDestinationMAC: // which no medium tells
            return static_cast<CDstMACFilter const &>(filter).address == CMACAddr() ? always : never;
        default:
            break;
        }
        for (CNetwork const & network : m_networks)
            if (asksForPacketsOf(network, filter))
                return ofPackets(network, filter);
        // Those of tags of Ethernet pass nothing.
        return filter.GetFilterId() == fiCompound ? compound(static_cast<CCompoundFilter const &>(filter))
                                                  : never;
    }

    std::string compound(CCompoundFilter const & filter) const
    {
        std::vector<std::string> parts;
        for (CFilter const * const part : filter.filters)
            if (filter.mode == CCompoundFilter::cmAny || !isImplied(*part, filter))
                parts.push_back(text(*part));
        return filter.mode == CCompoundFilter::cmAny ? any(parts) : all(parts);
    }

    // Whether it says no more than what another part of the compound says, too.
    bool isImplied(CFilter const & part, CCompoundFilter const & whole) const
    {
        if (part.negated || part.GetFilterId() != fiProtocol)
            return false;
        auto const network = std::find_if(m_networks.begin(), m_networks.end(), [&](CNetwork const & one) {
            return numberOf(static_cast<CProtocolFilter const &>(part)) == one.protocol;
        });
        return network != m_networks.end() &&
               std::any_of(whole.filters.begin(), whole.filters.end(), [&](CFilter const * other) {
                   return other->GetFilterId() != fiProtocol && !other->negated &&
                          asksForPacketsOf(*network, *other);
               });
    }

    static bool asksForPacketsOf(CNetwork const & network, CFilter const & filter)
    {
        return !filter.GetPacketExpression(network.protocol, std::nullopt).empty();
    }

    // By libpcap's names where it finds the packet, and else by the place of the header.
    static std::string ofPackets(CNetwork const & network, CFilter const & filter)
    {
        std::vector<std::string> parts;
        for (CFraming const & framing : network.framings)
            parts.push_back(
                framing.isOfLibpcap
                    ? filter.GetPacketExpression(network.protocol, std::nullopt)
                    : all({framing.condition, filter.GetPacketExpression(network.protocol, framing.header)}));
        return any(parts);
    }

    // None for an id of more than two bytes, which no frame has.
    static std::optional<unsigned int> numberOf(CProtocolFilter const & filter)
    {
        auto const & bytes = filter.protocolId.bytes;
        for (std::size_t i = 0; i < 4; ++i)
            if (bytes[i] != 0)
                return std::nullopt;
        return static_cast<unsigned int>(bytes[4]) << 8 | bytes[5];
    }

    std::string ofProtocol(CProtocolFilter const & filter) const
    {
        std::optional<unsigned int> const number = numberOf(filter);
        if (!number)
            return never;
        bool const isCooked = m_sender.has_value();
        if (*number == 0 && !isCooked)
            return "not " + any({protocol(ipv4), protocol(ipv6)});
        return protocol(*number);
    }

    std::string protocol(unsigned int number) const
    {
        std::vector<std::string> parts;
        for (CFraming const & framing : framingsOf(m_linkType, number))
            parts.push_back(framing.isOfLibpcap ? number == ipv4   ? "ip"
                                                  : number == ipv6 ? "ip6"
                                                                   : "arp"
                                                : framing.condition);
        return any(parts);
    }

    // A frame that tells no address has that of zeros.
    std::string ofSender(CMACAddr const & address) const
    {
        bool const isNone = address == CMACAddr();
        if (!m_sender)
            return isNone ? always : never;
        auto const number = [&](std::size_t from, std::size_t to) {
            unsigned int value = 0;
            for (std::size_t i = from; i < to; ++i)
                value = value << 8 | address.bytes[i];
            return value;
        };
        std::string const same =
            all({is(m_sender->address, 4, number(0, 4)), is(m_sender->address + 4, 2, number(4, 6))});
        std::string const isThere = is(m_sender->length, 1, 6);
        return isNone ? any({"not " + isThere, same}) : all({isThere, same});
    }

    std::optional<CSender> m_sender;
    std::array<CNetwork, 2> m_networks;
    std::uint32_t m_linkType;
};

} // namespace

std::string mediumExpression(CFilter const & filter, std::uint32_t linkType)
{
    std::string text = CWriter(linkType).text(filter);
    // What stands around the whole needs no parentheses, and no part of it ends with them.
    if (text.front() == '(' && text.back() == ')') {
        int depth = 0;
        for (std::size_t i = 0; i + 1 < text.size(); ++i) {
            depth += text[i] == '(' ? 1 : text[i] == ')' ? -1 : 0;
            if (depth == 0)
                return text;
        }
        return text.substr(1, text.size() - 2);
    }
    return text;
}

} // namespace ketmon
