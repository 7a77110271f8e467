#include "ketstats/capture/ExtensionHeaders.h"

#include "ketstats/capture/IPv6Header.h"

#include <initializer_list>

namespace {

constexpr unsigned char tcp = 6;
constexpr unsigned char udp = 17;

std::string joined(std::initializer_list<std::string> const & parts, char const * between)
{
    std::string text;
    for (std::string const & part : parts)
        if (!part.empty())
            text += (text.empty() ? "" : between) + part;
    return text;
}

std::string all(std::initializer_list<std::string> const & parts)
{
    return '(' + joined(parts, " and ") + ')';
}

std::string any(std::initializer_list<std::string> const & parts)
{
    return '(' + joined(parts, " or ") + ')';
}

// Where a header begins: so many bytes behind the start of the packet, and as many more as an expression tells.
struct CPlace
{
    unsigned int offset;
    std::string more;

    CPlace operator+(unsigned int count) const { return {offset + count, more}; }
    CPlace operator-(unsigned int count) const { return {offset - count, more}; }
};

// The walk, as libpcap reads a packet behind a type, or anywhere in a frame.
class CWalk
{
public:
    enum Reading
    {
        behindType, // ip6[40]
        anywhere,   // ether[{40}]
    };

    explicit CWalk(Reading reading) : m_anywhere(reading == anywhere) {}
    virtual ~CWalk() = default;

    std::string text() const
    {
        CHeader const first{bytes({6, {}}), {CIPv6Header::size, {}}};
        return any({wanted(first), beyond(first, extensionheaders::deepest)});
    }

protected:
    // The header that comes next: its number, as an expression, and where it stands.
    struct CHeader
    {
        std::string number;
        CPlace place;
    };

    // What is asked of a header that stands behind the others, and isn't in a later fragment. Empty for nothing.
    virtual std::string wanted(CHeader const & header) const = 0;
    // The same of the number that the header of a later fragment tells.
    virtual std::string wantedOfLater(std::string const & number) const = 0;

    std::string bytes(CPlace const & place, unsigned int count = 1) const
    {
        std::string const offset = std::to_string(place.offset);
        return (m_anywhere ? "ether[{" + offset + "}" : "ip6[" + offset) +
               (place.more.empty() ? "" : " + " + place.more) +
               (count > 1 ? ":" + std::to_string(count) : "") + ']';
    }

private:
    // What is asked of those behind the header, if that is an extension header. Its last byte is looked at, whatever
    // it is, since a header that was cut ends the walk.
    std::string beyond(CHeader const & header, unsigned int levels) const
    {
        if (levels == 0)
            return {};
        std::string const & number = header.number;
        CPlace const behind{header.place.offset + 8,
                            joined({header.place.more, bytes(header.place + 1) + " * ((0x80040888 >> (28 & " +
                                                           number + ")) & 15)"},
                                   " + ")};
        CHeader const next{bytes(header.place), behind};
        std::string const fragment = bytes(header.place + 2, 2);
        std::string const isPassable = any({number + " != 44", fragment + " < 8"});
        std::string const here = wanted(next);
        std::string const deeper = beyond(next, levels - 1);
        std::string const later = wantedOfLater(next.number);
        // What is asked of both is said once.
        std::string const asked =
            here == later
                ? any({here, deeper.empty() ? "" : all({isPassable, deeper})})
                : any({joined({here, deeper}, "").empty() ? "" : all({isPassable, any({here, deeper})}),
                       later.empty() ? "" : all({number + " = 44", fragment + " >= 8", later})});
        return all({any({number + " = 0", number + " = 43", number + " = 44", number + " = 51",
                         number + " = 60", number + " = 135"}),
                    bytes(behind - 1) + " >= 0", asked});
    }

    bool m_anywhere;
};

class CProtocolWalk : public CWalk
{
public:
    CProtocolWalk(Reading reading, unsigned char number)
        : CWalk(reading),
          m_equal(" = " + std::to_string(number)),
          m_isExtension(CIPv6Header::isExtension(number))
    {}

private:
    // An extension header is passed by, and counts only where the walk ends at it.
    std::string wanted(CHeader const & header) const override
    {
        return m_isExtension ? std::string() : header.number + m_equal;
    }
    std::string wantedOfLater(std::string const & number) const override { return number + m_equal; }

    std::string m_equal;
    bool m_isExtension;
};

class CPortWalk : public CWalk
{
public:
    CPortWalk(Reading reading, unsigned short port, CIPPortFilter::ePortType type)
        : CWalk(reading),
          m_equal(" = " + std::to_string(port)),
          m_type(type)
    {}

private:
    // Both ports are read even if one is asked for: the counting takes neither of a header that was cut in between.
    std::string wanted(CHeader const & header) const override
    {
        std::string const isTCP = header.number + " = " + std::to_string(tcp);
        std::string const isUDP = header.number + " = " + std::to_string(udp);
        std::string const ports = bytes(header.place, 4);
        std::string const source = ports + " >> 16" + m_equal;
        std::string const destination = ports + " & 0xffff" + m_equal;
        return all({m_type == CIPPortFilter::ptTCP   ? isTCP
                    : m_type == CIPPortFilter::ptUDP ? isUDP
                                                     : any({isTCP, isUDP}),
                    m_type == CIPPortFilter::ptSource        ? source
                    : m_type == CIPPortFilter::ptDestination ? destination
                                                             : any({source, destination})});
    }
    std::string wantedOfLater(std::string const & /*number*/) const override { return {}; }

    std::string m_equal;
    CIPPortFilter::ePortType m_type;
};

} // namespace

CFilterExpression extensionheaders::carrying(unsigned char number)
{
    return CFilterExpression::ofIPv6(CProtocolWalk(CWalk::behindType, number).text(),
                                     CProtocolWalk(CWalk::anywhere, number).text());
}

CFilterExpression extensionheaders::withPort(unsigned short port, CIPPortFilter::ePortType type)
{
    std::vector<CFilterExpression> implied;
    if (type == CIPPortFilter::ptTCP || type == CIPPortFilter::ptUDP)
        implied.push_back(carrying(type == CIPPortFilter::ptTCP ? tcp : udp));
    return CFilterExpression::ofIPv6(CPortWalk(CWalk::behindType, port, type).text(),
                                     CPortWalk(CWalk::anywhere, port, type).text(), std::move(implied));
}
