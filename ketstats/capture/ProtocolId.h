#pragma once

#include <array>
#include <cstddef>
#include <cstring>

// The identifier of a protocol, six bytes that are copied, compared and used as keys as they lie. The value
// stands right-aligned and big-endian behind zeros:
//
//     Set(2, 08 00)  ->  00 00 00 00 08 00
//     Set(1, 06)     ->  00 00 00 00 00 06
class CProtocolId
{
public:
    static constexpr int size = 6;

    // The empty id, all zeros.
    CProtocolId() = default;

    void Reset() { bytes = {}; }

    // Stores `length` bytes, given in wire order, as the value. Of more than six the last six count. Ids of
    // one and two bytes are what every frame brings.
    void Set(int length, unsigned char const * value)
    {
        Reset();
        if (length == 1 || length == 2) {
            unsigned char const low[2] = {length == 2 ? value[0] : static_cast<unsigned char>(0),
                                          value[length - 1]};
            std::memcpy(&bytes[4], low, sizeof low);
        } else {
            for (int i = length > size ? length - size : 0; i < length; ++i)
                bytes[static_cast<std::size_t>(size - length + i)] = value[i];
        }
    }

    friend bool operator==(CProtocolId const &, CProtocolId const &) = default;

    std::array<unsigned char, size> bytes{};
};

static_assert(sizeof(CProtocolId) == 6, "protocol ids are copied as six raw bytes");
