#include "tests/support/IPv6Traffic.h"

#include "tests/support/Dice.h"
#include "tests/support/IPv6Frames.h"

#include <cstdio>

namespace test {

namespace {

enum Protocol : unsigned int
{
    hopByHop = 0,
    tcp = 6,
    udp = 17,
    routing = 43,
    fragment = 44,
    authentication = 51,
    icmpV6 = 58,
    destinationOptions = 60,
    mobility = 135,
};

// Builds one frame. Each die is thrown in a statement of its own: arguments are worked out in any order.
class Maker
{
public:
    Maker(Dice & theDice, unsigned int theHosts) : dice(theDice), hosts(theHosts) {}

    Bytes anyFrame()
    {
        unsigned int const kind = dice.below(20);
        if (kind < 3)
            return anyIPv4();
        if (kind < 5)
            return anyARP();
        if (kind < 6)
            return anyTunnelOfTheLink();
        if (kind < 9)
            return anyNeighbourMessage();
        return anyIPv6();
    }

private:
    // Some are much busier than others.
    unsigned int anyNumber() { return dice.below(1 + dice.below(hosts)); }

    Ipv6Host hostOf(unsigned int number)
    {
        char text[32];
        std::snprintf(text, sizeof text, number % 3 ? "2001:db8::%x:%x" : "fe80::%x:%x", number >> 16,
                      number & 0xFFFF);
        return {host(number).mac, text};
    }

    unsigned int anyPort()
    {
        constexpr unsigned int known[] = {0, 1, 53, 80, 443, 1024, 1025, 4789, 6081, 65535};
        if (dice.oneIn(2))
            return dice.oneOf(known);
        return dice.below(1 + dice.below(65536));
    }

    Bytes anyBytes(unsigned int most)
    {
        Bytes result(dice.below(most + 1));
        for (unsigned char & byte : result)
            byte = static_cast<unsigned char>(dice.below(256));
        return result;
    }

    // What stands behind all headers of a packet, for its number.
    Bytes payloadOf(unsigned int number)
    {
        unsigned int const from = anyPort();
        unsigned int const to = anyPort();
        switch (number) {
        case tcp: {
            unsigned int const flags = dice.below(64);
            unsigned int const window = dice.oneIn(4) ? 0 : dice.below(65536);
            return tcpHeader(from, to, flags, window);
        }
        case udp:
            return udpHeader(from, to);
        case icmpV6: {
            constexpr unsigned int types[] = {0, 1, 2, 3, 4, 5, 128, 129, 133, 137, 138};
            unsigned int const type = dice.oneOf(types);
            unsigned int const code = dice.below(6);
            return icmpv6(type, code, anyBytes(40));
        }
        default:
            return anyBytes(40);
        }
    }

    unsigned int anyNumberBehind()
    {
        constexpr unsigned int numbers[] = {tcp, tcp, tcp, udp, udp, icmpV6, 4, 41, 47, 50, 59};
        return dice.oneIn(10) ? dice.below(256) : dice.oneOf(numbers);
    }

    Bytes anyExtension(unsigned int kind, unsigned int next)
    {
        if (kind == fragment) {
            unsigned int const offset = dice.oneIn(2) ? 0 : dice.below(0x2000);
            bool const more = dice.oneIn(2);
            return fragmentHeader(next, offset, more);
        }
        unsigned int const size = 8 * (1 + dice.below(dice.oneIn(20) ? 32 : 3));
        Bytes header = extension(next, size);
        if (kind == authentication)
            header[1] = static_cast<unsigned char>(size / 4 - 2);
        if (dice.oneIn(20))
            header[1] = static_cast<unsigned char>(dice.below(256));
        return header;
    }

    Bytes anyIPv6()
    {
        constexpr unsigned int kinds[] = {hopByHop,           routing, fragment, authentication,
                                          destinationOptions, mobility};
        unsigned int const last = anyNumberBehind();
        unsigned int const headers = dice.oneIn(2)   ? 0
                                     : dice.oneIn(8) ? 14 + dice.below(5)
                                                     : 1 + dice.below(4);
        bool const withoutFragments = dice.oneIn(2);
        Bytes payload = payloadOf(last);
        unsigned int next = last;
        for (unsigned int i = 0; i < headers; ++i) {
            unsigned int kind = dice.oneOf(kinds);
            if (kind == fragment && (withoutFragments || headers > 6))
                kind = destinationOptions;
            payload = anyExtension(kind, next) + payload;
            next = kind;
        }
        Ipv6Host const from = hostOf(anyNumber());
        Ipv6Host to = hostOf(anyNumber());
        if (dice.oneIn(10))
            to.mac = dice.oneIn(2) ? multicastMac : broadcastMac;
        return withAnyLength(ipv6Frame(from, to, next, payload));
    }

    // At times a packet doesn't say how long it is.
    Bytes withAnyLength(Bytes frame)
    {
        if (dice.oneIn(6)) {
            frame[18] = static_cast<unsigned char>(dice.below(8));
            frame[19] = static_cast<unsigned char>(dice.below(256));
        }
        return frame;
    }

    // One that teaches, or one with a mistake.
    Bytes anyNeighbourMessage()
    {
        unsigned int const type = 133 + dice.below(5);
        Ipv6Host from = hostOf(anyNumber());
        Ipv6Host const target = hostOf(anyNumber());
        if (dice.oneIn(12))
            from.ip = dice.oneIn(2) ? "::" : "ff02::1";
        Bytes const front =
            type == 134 ? Bytes(12) : Bytes(4) + ipv6Bytes(dice.oneIn(12) ? "ff02::2" : target.ip);
        Bytes options;
        for (unsigned int more = dice.below(4); more > 0; --more) {
            unsigned int const kind = dice.oneIn(8) ? dice.below(20) : type == 136 ? 2 : 1;
            Bytes option = addressOption(kind, host(anyNumber() + (dice.oneIn(9) ? 1 : 0)).mac);
            if (dice.oneIn(15))
                option[1] = static_cast<unsigned char>(dice.below(4));
            options = options + option;
        }
        if (dice.oneIn(15))
            options = options + anyBytes(9);
        unsigned int const code = dice.oneIn(12) ? 1 : 0;
        unsigned int const hopLimit = dice.oneIn(12) ? dice.below(255) : 255;
        Bytes message = icmpv6(type, code, front + options);
        unsigned int next = icmpV6;
        if (dice.oneIn(8)) {
            unsigned int const kind = dice.oneIn(2) ? destinationOptions : fragment;
            message = (kind == fragment ? fragmentHeader(next, 0, false) : extension(next)) + message;
            next = kind;
        }
        return withAnyLength(ipv6Frame(from, {multicastMac, "ff02::1"}, next, message, hopLimit));
    }

    Bytes anyIPv4()
    {
        Host const from = host(anyNumber());
        Host const to = host(anyNumber());
        constexpr unsigned int numbers[] = {1, 4, tcp, tcp, udp, udp, 41, 47};
        unsigned int const number = dice.oneIn(8) ? dice.below(256) : dice.oneOf(numbers);
        Bytes payload = payloadOf(number);
        if (number == 1) {
            unsigned int const type = dice.below(14);
            unsigned int const code = dice.below(6);
            payload = icmpv6(type, code, anyBytes(30));
        }
        unsigned int const headerWords = dice.oneIn(10) ? dice.below(16) : 5;
        Bytes frame = ipFrame(from, to, number, payload, headerWords);
        if (dice.oneIn(4)) {
            frame[20] = static_cast<unsigned char>(dice.below(256));
            frame[21] = dice.oneIn(2) ? 0 : static_cast<unsigned char>(dice.below(256));
        }
        if (dice.oneIn(4))
            frame[16] = static_cast<unsigned char>(dice.below(3));
        return frame;
    }

    Bytes anyARP()
    {
        Host sender = host(anyNumber());
        Host const target = dice.oneIn(4) ? sender : host(anyNumber());
        if (dice.oneIn(6))
            sender.mac = host(anyNumber()).mac;
        unsigned int const opcode = dice.oneIn(8) ? dice.below(4) : 1 + dice.below(2);
        bool const toAll = dice.oneIn(2);
        return arpFrame(opcode, sender, target, toAll ? broadcastMac : target.mac);
    }

    Bytes anyTunnelOfTheLink()
    {
        constexpr unsigned int types[] = {0x8847, 0x8848, 0x8863, 0x8864, 0x88B5};
        Host const from = host(anyNumber());
        Host const to = host(anyNumber());
        unsigned int const type = dice.oneOf(types);
        return ethernet(to.mac.c_str(), from.mac.c_str(), type) + anyBytes(60);
    }

    Dice & dice;
    unsigned int hosts;
};

} // namespace

Traffic randomIPv6Traffic(std::uint64_t seed, std::size_t count, unsigned int hosts)
{
    Dice dice(seed);
    Maker maker(dice, hosts);
    Traffic traffic;
    while (traffic.size() < count) {
        Bytes frame = maker.anyFrame();
        if (dice.oneIn(20))
            frame = snap(frame);
        for (unsigned int tags = dice.oneIn(4) ? 1 + dice.below(3) : 0; tags > 0; --tags) {
            constexpr unsigned int tagTypes[] = {0x8100, 0x8100, 0x88A8, 0x9100};
            unsigned int const tagType = dice.oneOf(tagTypes);
            unsigned int const tag = dice.oneIn(3) ? dice.below(65536) : dice.below(4);
            frame = tagged(frame, tag, tagType);
        }
        auto length = static_cast<unsigned int>(frame.size()) + (dice.oneIn(3) ? dice.below(1500) : 0);
        if (dice.oneIn(40))
            length = dice.below(200000);
        if (dice.oneIn(8))
            frame.resize(dice.below(static_cast<unsigned int>(frame.size()) + 1));
        traffic.push_back({std::move(frame), length});
    }
    return traffic;
}

} // namespace test
