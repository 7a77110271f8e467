#include "host/capture/MediumExpression.h"

#include "host/capture/LinkType.h"

#include "ketstats/capture/FieldFilters.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <vector>

namespace ketmon {

namespace {

constexpr unsigned int ipv4 = 0x0800;
constexpr unsigned int ipv6 = 0x86DD;
constexpr unsigned int arp = 0x0806;
constexpr unsigned int ipx = 0x8137;
constexpr unsigned int lowestType = 0x0600;
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
    if (protocol >= lowestType) {
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

class CWriter
{
public:
    explicit CWriter(std::uint32_t linkType) : m_linkType(linkType), m_ip(framingsOf(linkType, ipv4)) {}

    std::string text(CFilter const & filter) const
    {
        std::string const expression = positive(filter);
        return filter.negated ? "not " + (expression.front() == '(' ? expression : '(' + expression + ')')
                              : expression;
    }

private:
    std::string positive(CFilter const & filter) const
    {
        switch (filter.GetFilterId()) {
        case fiCompound:
            return compound(static_cast<CCompoundFilter const &>(filter));
        case fiProtocol:
            return ofProtocol(static_cast<CProtocolFilter const &>(filter));
        case fiIPSubprotocol:
            return ofSubprotocol({static_cast<CIPSubprotocolFilter const &>(filter).protocol});
        case fiIPPort:
            return ofPort(static_cast<CIPPortFilter const &>(filter));
        case fiIPAddress:
            return ofAddress(static_cast<CIPAddrFilter const &>(filter));
        default: // addresses that no such frame has
            return never;
        }
    }

    std::string compound(CCompoundFilter const & filter) const
    {
        bool const isAll = filter.mode != CCompoundFilter::cmAny;
        bool const impliesIP = isAll && std::any_of(filter.filters.begin(), filter.filters.end(), isOfIP);
        std::vector<std::string> parts;
        for (CFilter const * const part : filter.filters)
            if (!impliesIP || !saysIP(*part))
                parts.push_back(text(*part));
        return filter.mode == CCompoundFilter::cmAny ? any(parts) : all(parts);
    }

    static bool isOfIP(CFilter const * filter)
    {
        eFilterId const id = filter->GetFilterId();
        return !filter->negated && (id == fiIPSubprotocol || id == fiIPPort || id == fiIPAddress);
    }

    // Whether it says no more than what a filter of IP says, too.
    static bool saysIP(CFilter const & filter)
    {
        if (filter.negated || filter.GetFilterId() != fiProtocol)
            return false;
        CProtocolId id;
        constexpr unsigned char wire[] = {ipv4 >> 8, ipv4 & 0xFF};
        id.Set(sizeof wire, wire);
        return static_cast<CProtocolFilter const &>(filter).protocolId == id;
    }

    std::string ofProtocol(CProtocolFilter const & filter) const
    {
        auto const & bytes = filter.protocolId.bytes;
        for (std::size_t i = 0; i < 4; ++i)
            if (bytes[i] != 0)
                return never;
        unsigned int const number = static_cast<unsigned int>(bytes[4]) << 8 | bytes[5];
        bool const isCooked = m_linkType == linktype::linuxSll || m_linkType == linktype::linuxSll2;
        if (number == 0 && !isCooked)
            return "not " + any({protocol(ipv4), protocol(ipv6)});
        return protocol(number);
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

    // Of IP packets, `named` by libpcap's names and else by the place of the header.
    std::string ofIP(std::string const & named,
                     std::function<std::string(unsigned int header)> const & placed) const
    {
        std::vector<std::string> parts;
        for (CFraming const & framing : m_ip)
            parts.push_back(framing.isOfLibpcap ? named : all({framing.condition, placed(framing.header)}));
        return any(parts);
    }

    std::string ofSubprotocol(std::vector<unsigned int> const & numbers) const
    {
        std::vector<std::string> named;
        for (unsigned int const number : numbers)
            named.push_back(fmt::format("ip proto {}", number));
        return ofIP(any(named), [&](unsigned int header) {
            std::vector<std::string> placed;
            for (unsigned int const number : numbers)
                placed.push_back(is(header + 9, 1, number));
            return any(placed);
        });
    }

    std::string ofPort(CIPPortFilter const & filter) const
    {
        if (filter.operation != eoEqual || filter.type > CIPPortFilter::ptUDP)
            return never;
        std::vector<unsigned int> places;
        if (filter.type != CIPPortFilter::ptDestination)
            places.push_back(0);
        if (filter.type != CIPPortFilter::ptSource)
            places.push_back(2);
        std::vector<std::string> named;
        for (unsigned int const place : places)
            named.push_back(fmt::format("ip[((ip[0] & 0xf) << 2) + {}:2] = {}", place, filter.port));
        std::string const port = ofIP(any(named), [&](unsigned int header) {
            std::vector<std::string> placed;
            for (unsigned int const place : places)
                placed.push_back(fmt::format("ether[((ether[{}] & 0xf) << 2) + {}:2] = {}", header,
                                             header + place, filter.port));
            return any(placed);
        });
        std::vector<unsigned int> protocols;
        if (filter.type != CIPPortFilter::ptUDP)
            protocols.push_back(6);
        if (filter.type != CIPPortFilter::ptTCP)
            protocols.push_back(17);
        return all({ofSubprotocol(protocols), port});
    }

    std::string ofAddress(CIPAddrFilter const & filter) const
    {
        // Nobody has a row with others.
        if (filter.operation != eoEqual ||
            (filter.position != CIPAddrFilter::apSource && filter.position != CIPAddrFilter::apDestination))
            return never;
        unsigned char octets[4];
        static_assert(sizeof octets == sizeof filter.address);
        std::memcpy(octets, &filter.address, sizeof octets);
        unsigned int number = 0;
        for (unsigned char const octet : octets)
            number = number << 8 | octet;
        return ofIP(fmt::format("ip {} host {}", filter.position == CIPAddrFilter::apSource ? "src" : "dst",
                                fmt::join(octets, octets + 4, ".")),
                    [&](unsigned int header) { return is(header + filter.position, 4, number); });
    }

    std::uint32_t m_linkType;
    CFramings m_ip;
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
