#include "tests/host/ExtensionChains.h"

#include "tests/support/IPv6Frames.h"

#include <iterator>

namespace test {

namespace {

// An extension header of a kind, of so many units more than the least.
Bytes extensionOf(unsigned int kind, unsigned int next, unsigned int units)
{
    Bytes header(kind == 44 ? 8 : kind == 51 ? 8 + 4 * units : 8 + 8 * units);
    header[0] = static_cast<unsigned char>(next);
    header[1] = static_cast<unsigned char>(units); // which is nothing in a fragment header
    return header;
}

} // namespace

std::vector<Bytes> chainsOf(unsigned int headers)
{
    std::vector<Bytes> packets;
    constexpr unsigned int kinds[] = {0, 43, 44, 51, 60, 135};
    constexpr unsigned int count = std::size(kinds);
    unsigned int combinations = 1;
    for (unsigned int i = 0; i < headers; ++i)
        combinations *= count;
    for (unsigned int combination = 0; combination < combinations; ++combination)
        for (unsigned int offset : {0U, 1U, 8U}) { // 1 says that more follow
            unsigned int number = combination % 2 ? 6 : 17;
            Bytes payload = tcpHeader(80, 1025);
            bool hasFragment = false;
            for (unsigned int i = 0, rest = combination; i < headers; ++i, rest /= count) {
                unsigned int const kind = kinds[rest % count];
                Bytes header = extensionOf(kind, number, (combination + i) % 3);
                header[3] = static_cast<unsigned char>(kind == 44 ? offset : 0);
                hasFragment |= kind == 44;
                payload = header + payload;
                number = kind;
            }
            if (offset == 0 || hasFragment)
                packets.push_back(ipv6Packet(v6A, v6B, number, payload));
        }
    return packets;
}

std::vector<Filter> filtersOfIPv6()
{
    std::vector<Filter> filters;
    for (unsigned int number : {6U, 17U, 58U, 0U, 43U, 44U, 51U, 60U, 135U})
        filters.push_back(protocol6(number));
    for (unsigned int type = 0; type < 5; ++type)
        for (unsigned int number : {80U, 1025U})
            filters.push_back(port6(number, static_cast<CIPPortFilter::ePortType>(type)));
    filters.push_back(address6("2001:db8::a", 8));
    filters.push_back(address6("2001:db8::b", 24));
    filters.push_back(address6("2001:db8::a", 24));
    filters.push_back(address6("2001:db8::", 12));
    for (std::size_t i = 0, count = filters.size(); i < count; ++i)
        filters.push_back(no(Filter(filters[i]->Clone())));
    return filters;
}

unsigned int extensionHeadersOf(CBoundedBytes packet)
{
    unsigned int number = packet[6];
    unsigned int headers = 0;
    for (unsigned int at = 40; headers < 20; ++headers) {
        bool const isFragment = number == 44;
        bool const isAuthentication = number == 51;
        if (!isFragment && !isAuthentication && number != 0 && number != 43 && number != 60 && number != 135)
            break;
        unsigned int const length = isFragment         ? 8
                                    : isAuthentication ? packet[at + 1] * 4U + 8
                                                       : packet[at + 1] * 8U + 8;
        if (!packet.holds(at, length) || (isFragment && packet.word(at + 2) >= 8))
            return headers + 1;
        number = packet[at];
        at += length;
    }
    return headers;
}

} // namespace test
