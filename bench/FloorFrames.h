#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

// Frames taken apart with as few tests as will do.
namespace floorcount {

struct FrameAt
{
    unsigned char const * bytes;
    std::uint32_t captured, length;
    std::uint64_t microseconds;
};

template <class Word>
Word load(unsigned char const * bytes)
{
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

inline std::uint32_t bigEndian(unsigned char const * bytes)
{
    return __builtin_bswap16(load<std::uint16_t>(bytes));
}

constexpr std::uint64_t addressMask = 0xFFFFFFFFFFFF;

struct Fields
{
    std::uint64_t destination, source;
    std::uint64_t time;
    std::uint64_t sender; // of ARP; its address is in `from`
    std::uint32_t length;
    std::uint32_t protocol;
    std::uint32_t from, to; // IPv4 addresses
    std::uint32_t fromPort, toPort;
    unsigned int kind; // 0 unicast, 1 multicast, 2 broadcast
    unsigned int layout;
    unsigned int subprotocol;
    bool tagged, ip, ports, arp;
};

inline bool isTag(std::uint32_t type)
{
    return type == 0x8100 || type == 0x88A8 || type == 0x9100;
}

// A frame of at least an Ethernet header.
inline Fields fieldsOf(FrameAt const & frame)
{
    unsigned char const * const bytes = frame.bytes;
    std::uint32_t const captured = frame.captured;
    Fields fields{};
    fields.destination = load<std::uint64_t>(bytes) & addressMask;
    fields.source = load<std::uint64_t>(bytes + 6) & addressMask;
    fields.time = frame.microseconds;
    fields.length = frame.length;
    fields.kind = (fields.destination & 1) == 0 ? 0 : fields.destination == addressMask ? 2 : 1;

    std::uint32_t at = 12;
    std::uint32_t type = bigEndian(bytes + at);
    while (isTag(type))
        [[unlikely]]
        {
            fields.tagged = true;
            at += 4;
            type = at + 2 > captured ? 0xFFFF : bigEndian(bytes + at);
        }
    at += 2;
    if (type <= 1500) [[unlikely]] {
        if (at + 2 > captured) {
            fields.layout = 4;
            type = 0x40000;
        } else if (std::uint32_t const points = bigEndian(bytes + at); points == 0xFFFF) {
            fields.layout = 3;
            type = 0x20000;
        } else if (points == 0xAAAA && at + 8 <= captured) {
            fields.layout = 2;
            bool const organised = bytes[at + 3] != 0 || bytes[at + 4] != 0 || bytes[at + 5] != 0;
            type = bigEndian(bytes + at + 6) | (organised ? 0x30000 : 0);
            at += 8;
        } else {
            fields.layout = 1;
            type = 0x10000 | points >> 8;
        }
    }
    fields.protocol = type;

    if (type == 0x0800 && at + 20 <= captured) {
        unsigned char const * const header = bytes + at;
        if (header[0] < 0x45 || header[0] >= 0x50)
            return fields;
        fields.ip = true;
        fields.from = load<std::uint32_t>(header + 12);
        fields.to = load<std::uint32_t>(header + 16);
        fields.subprotocol = header[9];
        std::uint32_t const transport = at + (header[0] & 15) * 4;
        bool const hasPorts = header[9] == 6 || header[9] == 17;
        bool const isFirst = (load<std::uint16_t>(header + 6) & 0xFF1F) == 0;
        if (hasPorts && isFirst && transport + 4 <= captured) {
            fields.ports = true;
            fields.fromPort = bigEndian(bytes + transport);
            fields.toPort = bigEndian(bytes + transport + 2);
        }
    } else if (type == 0x0806 && at + 28 <= captured && load<std::uint32_t>(bytes + at) == 0x00080100) {
        fields.arp = true;
        fields.sender = load<std::uint64_t>(bytes + at + 8) & addressMask;
        fields.from = load<std::uint32_t>(bytes + at + 14);
    }
    return fields;
}

// Appends the frames of whole records, of at least an Ethernet header, of a classic little-endian capture with
// microseconds; tells where the first record begins that isn't whole.
inline std::size_t recordsOf(unsigned char const * bytes, std::size_t begin, std::size_t end,
                             std::vector<FrameAt> & frames)
{
    constexpr std::size_t header = 16;
    while (begin + header <= end) {
        unsigned char const * const record = bytes + begin;
        std::uint32_t const captured = load<std::uint32_t>(record + 8);
        if (begin + header + captured > end)
            break;
        std::uint64_t const seconds = load<std::uint32_t>(record);
        if (captured >= 14)
            frames.push_back({record + header, captured, load<std::uint32_t>(record + 12),
                              seconds * 1000000 + load<std::uint32_t>(record + 4)});
        begin += header + captured;
    }
    return begin;
}

} // namespace floorcount
