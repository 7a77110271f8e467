#include "tests/extended/FrameModel.h"

#include <algorithm>

namespace test {

namespace {

bool isTag(unsigned int type)
{
    return type == 0x8100 || type == 0x88A8 || type == 0x9100;
}

void add(FrameModel::Traffic & traffic, unsigned int size)
{
    ++traffic.frames;
    traffic.bytes += size;
}

Bytes wordKey(unsigned int number)
{
    return {static_cast<unsigned char>(number >> 8), static_cast<unsigned char>(number)};
}

} // namespace

// Bytes by their offset from the network header, and from the start; zeros where none was captured.
class FrameModel::Frame
{
public:
    Frame(Bytes const & theBytes, unsigned int length)
        : bytes(theBytes),
          size((length & 0xFFFF) + 4),
          unicast((start(0) & 1) == 0)
    {
        unsigned int type = 12;
        while (isTag(startWord(type)))
            type += 4;
        unsigned int const payload = type + 2;
        protocol = startWord(type);
        network = payload;
        if (protocol < 0x600) {
            bool const isIPX = startWord(payload) == 0xFFFF;
            bool const isSnap = startWord(payload) == 0xAAAA && start(payload + 2) == 3;
            protocol = isIPX ? 0x8137 : isSnap ? startWord(payload + 6) : start(payload);
            network = isIPX ? payload : isSnap ? payload + 8 : payload + 3;
        }
        left = length > network ? length - network : 0;
    }

    unsigned int start(unsigned int at) const { return at < bytes.size() ? bytes[at] : 0; }
    unsigned int startWord(unsigned int at) const { return start(at) << 8 | start(at + 1); }
    unsigned int byte(unsigned int at) const { return start(network + at); }
    unsigned int word(unsigned int at) const { return startWord(network + at); }
    bool has(unsigned int at, unsigned int count) const
    {
        return std::size_t{network} + at + count <= bytes.size();
    }
    Bytes some(unsigned int at, unsigned int count) const
    {
        Bytes result;
        for (unsigned int i = 0; i < count; ++i)
            result.push_back(static_cast<unsigned char>(byte(at + i)));
        return result;
    }

    Bytes const & bytes;
    unsigned int size;
    bool unicast;
    unsigned int protocol = 0;
    unsigned int network = 0;
    unsigned int left = 0; // on the wire behind the network offset
};

void FrameModel::take(Bytes const & captured, unsigned int length)
{
    Frame const frame(captured, length);
    takeVlans(frame);
    switch (frame.protocol) {
    case 0x86DD:
        takeIPv6(frame);
        break;
    case 0x0800:
        takeIPv4(frame);
        break;
    case 0x0806:
        takeARP(frame);
        break;
    case 0x8863:
    case 0x8864:
        add(tunnels[6], frame.size);
        break;
    case 0x8847:
    case 0x8848:
        add(tunnels[7], frame.size);
        break;
    default:
        break;
    }
}

void FrameModel::takeVlans(Frame const & frame)
{
    if (!isTag(frame.startWord(12)))
        return;
    add(outerVlans[wordKey(frame.startWord(14) & 0xFFF)], frame.size);
    if (isTag(frame.startWord(16)))
        add(innerVlans[wordKey(frame.startWord(18) & 0xFFF)], frame.size);
}

void FrameModel::takeIPv6(Frame const & frame)
{
    unsigned int number = frame.byte(6);
    unsigned int at = 40;
    bool hasPayload = true;
    bool isFragment = false;
    bool hasFragmentHeader = false;
    auto const isExtension = [&] {
        return number == 0 || number == 43 || number == 44 || number == 51 || number == 60 || number == 135;
    };
    for (unsigned int headers = 0; isExtension() && hasPayload; ++headers) {
        unsigned int length = (frame.byte(at + 1) + 1) * 8;
        if (number == 44)
            length = 8;
        if (number == 51)
            length = (frame.byte(at + 1) + 2) * 4;
        if (headers == 16 || !frame.has(at, std::max(8U, length))) {
            hasPayload = false;
            break;
        }
        if (number == 44) {
            hasFragmentHeader = true;
            unsigned int const field = frame.word(at + 2);
            isFragment = isFragment || field >> 3 != 0 || (field & 1) != 0;
            hasPayload = field >> 3 == 0;
        }
        number = frame.byte(at);
        at += length;
    }

    if (frame.unicast) {
        add(traffic[frame.some(8, 32)], frame.size);
        add(protocols[{static_cast<unsigned char>(number)}], frame.size);
        if (hasPayload && (number == 6 || number == 17))
            takePorts(frame, at, number == 6);
    }
    if (isFragment)
        ++signals[6];
    if (frame.word(4) + 40 > frame.left)
        ++signals[17];
    if (hasPayload && number == 6)
        takeTCP(frame, at);
    if (hasPayload && number == 58) {
        constexpr std::pair<unsigned int, std::size_t> errors[] = {
            {1, 7}, {2, 8}, {3, 9}, {4, 10}, {137, 11}};
        for (auto const & [type, signal] : errors)
            if (frame.byte(at) == type)
                ++signals[signal];
        if (!hasFragmentHeader)
            takeNeighbour(frame, at);
    }
    takeTunnel(frame, number, hasPayload, at, true);
}

void FrameModel::takePorts(Frame const & frame, unsigned int at, bool tcp)
{
    if (!frame.has(at, 4))
        return;
    auto const inRange = [&](unsigned int port) {
        return static_cast<int>(port) >= lowestPort && static_cast<int>(port) <= highestPort;
    };
    if (inRange(frame.word(at)))
        add((tcp ? tcpSent : udpSent)[wordKey(frame.word(at))], frame.size);
    if (inRange(frame.word(at + 2)))
        add((tcp ? tcpReceived : udpReceived)[wordKey(frame.word(at + 2))], frame.size);
}

void FrameModel::takeTCP(Frame const & frame, unsigned int at)
{
    unsigned int const flags = frame.byte(at + 13);
    bool const fin = flags & 1, syn = flags & 2, reset = flags & 4, acknowledged = flags & 16;
    signals[1] += syn && !acknowledged;
    signals[2] += syn && acknowledged;
    signals[3] += fin;
    signals[4] += reset;
    signals[5] += !fin && !syn && !reset && frame.has(at, 16) && frame.word(at + 14) == 0;
}

void FrameModel::takeTunnel(Frame const & frame, unsigned int protocol, bool hasHeader, unsigned int at,
                            bool overIPv6)
{
    bool const isTo = protocol == 17 && hasHeader && frame.has(at, 4);
    if (protocol == 4 || (protocol == 41 && overIPv6))
        add(tunnels[1], frame.size);
    if (protocol == 41 && !overIPv6)
        add(tunnels[2], frame.size);
    if (protocol == 47)
        add(tunnels[3], frame.size);
    if (isTo && frame.word(at + 2) == 4789)
        add(tunnels[4], frame.size);
    if (isTo && frame.word(at + 2) == 6081)
        add(tunnels[5], frame.size);
}

void FrameModel::takeIPv4(Frame const & frame)
{
    unsigned int const at = (frame.byte(0) & 15) * 4;
    unsigned int const protocol = frame.byte(9);
    unsigned int const offset = frame.word(6) & 0x1FFF;
    if (offset != 0 || (frame.word(6) & 0x2000) != 0)
        ++signals[6];
    if (frame.word(2) > frame.left)
        ++signals[17];
    if (offset == 0 && protocol == 6)
        takeTCP(frame, at);
    if (offset == 0 && protocol == 1) {
        unsigned int const type = frame.byte(at);
        bool const tooBig = type == 3 && frame.byte(at + 1) == 4;
        signals[7] += type == 3 && !tooBig;
        signals[8] += tooBig;
        signals[9] += type == 11;
        signals[10] += type == 12;
        signals[11] += type == 5;
        signals[12] += type == 4;
    }
    takeTunnel(frame, protocol, offset == 0, at, false);
}

void FrameModel::takeARP(Frame const & frame)
{
    unsigned int const opcode = frame.word(6);
    if (frame.word(2) != 0x0800 || (opcode != 1 && opcode != 2))
        return;
    ++signals[opcode == 1 ? 13 : 14];
    unsigned int const ofMac = frame.byte(4);
    unsigned int const ofAddress = frame.byte(5);
    Bytes const sender = frame.some(8 + ofMac, 4);
    Bytes const target = frame.some(8 + 2 * ofMac + ofAddress, 4);
    bool const isNobody = sender == Bytes(4);
    if (!isNobody && sender == target)
        ++signals[15];
    if (!isNobody)
        learn(m_arp, sender, frame.some(8, 6));
    if (opcode == 2)
        learn(m_arp, target, frame.some(8 + ofMac + ofAddress, 6), sender != target);
}

void FrameModel::learn(std::map<Bytes, Bytes> & bindings, Bytes const & address, Bytes const & mac,
                       bool noticed)
{
    auto const [known, isNew] = bindings.emplace(address, mac);
    if (!isNew && known->second != mac && noticed)
        ++signals[16];
}

void FrameModel::takeNeighbour(Frame const & frame, unsigned int at)
{
    unsigned int const end = frame.word(4) + 40;
    unsigned int const type = frame.byte(at);
    bool const isSolicitation = type == 135, isAdvertisement = type == 136, isRouter = type == 134;
    unsigned int const front = isRouter ? 16 : 24;
    Bytes const source = frame.some(8, 16);
    Bytes const target = frame.some(at + 8, 16);
    if (!(isSolicitation || isAdvertisement || isRouter) || frame.byte(7) != 255 || frame.byte(at + 1) != 0 ||
        end < at + front || !frame.has(0, end))
        return;
    if (isRouter && (source[0] != 0xFE || (source[1] & 0xC0) != 0x80))
        return;
    if (!isRouter && target[0] == 0xFF)
        return;
    if (isSolicitation && source[0] == 0xFF)
        return;

    unsigned int const wanted = isAdvertisement ? 2 : 1;
    unsigned int found = 0;
    for (unsigned int option = at + front; option != end;) {
        unsigned int const length = option + 1 < end ? frame.byte(option + 1) * 8 : 0;
        if (length == 0 || option + length > end)
            return;
        if (found == 0 && frame.byte(option) == wanted)
            found = option;
        option += length;
    }
    Bytes const & address = isAdvertisement ? target : source;
    if (found != 0 && frame.byte(found + 1) == 1 && address != Bytes(16))
        learn(neighbours, address, frame.some(found + 2, 6));
}

} // namespace test
