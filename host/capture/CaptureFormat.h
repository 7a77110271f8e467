#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

// What capture files are made of. Numbers stand in the byte order of the machine that wrote them; a magic
// number tells which.
namespace ketmon::format {

// The order of the numbers in a file.
class CByteOrder
{
public:
    constexpr explicit CByteOrder(std::endian order) : m_big(order == std::endian::big) {}

    constexpr bool isOwn() const { return m_big == (std::endian::native == std::endian::big); }
    constexpr CByteOrder other() const { return CByteOrder(m_big ? std::endian::little : std::endian::big); }

    constexpr std::uint16_t two(unsigned char const * bytes) const
    {
        return static_cast<std::uint16_t>(number(bytes, 2));
    }
    constexpr std::uint32_t four(unsigned char const * bytes) const
    {
        return static_cast<std::uint32_t>(number(bytes, 4));
    }
    constexpr std::uint64_t eight(unsigned char const * bytes) const { return number(bytes, 8); }

private:
    constexpr std::uint64_t number(unsigned char const * bytes, unsigned int count) const
    {
        std::uint64_t value = 0;
        for (unsigned int i = 0; i < count; ++i)
            value = value << 8 | bytes[m_big ? i : count - 1 - i];
        return value;
    }

    bool m_big;
};

constexpr CByteOrder littleEndian{std::endian::little};

constexpr std::size_t magicLength = 4;
// The most bytes of a frame that a file may announce or hold; more is taken for damage.
constexpr std::uint32_t longestFrame = 262144;

// The limit of captured bytes that a file announces; one that makes no sense stands for the greatest.
constexpr std::uint32_t sensibleLimit(std::uint32_t announced)
{
    return announced == 0 || announced > 0x7FFFFFFF ? longestFrame : announced;
}

namespace classic {

//  file header                      record
//   0  magic                         0  seconds since 1970
//   4  version, 2 + 2                4  micro- or nanoseconds
//   8  time zone, not used           8  captured length
//  12  accuracy, not used           12  length on the wire
//  16  limit of captured bytes      16  8 bytes more where the magic is `patched`
//  20  link type and flags              captured bytes
constexpr std::uint32_t microseconds = 0xA1B2C3D4;
constexpr std::uint32_t nanoseconds = 0xA1B23C4D;
constexpr std::uint32_t patched = 0xA1B2CD34; // microseconds
constexpr std::size_t headerLength = 24;
constexpr std::size_t recordLength = 16;
constexpr std::size_t patchedRecordLength = 24;
// The flags tell of a frame check sequence, for which nobody has a use.
constexpr std::uint32_t linkTypeMask = 0x03FFFFFF;

} // namespace classic

namespace nextGeneration {

//  block                       section header      enhanced packet     obsolete packet
//   0  type                     0  order magic      0  interface        0  interface, 2
//   4  length of all            4  version, 2 + 2   4  stamp, high      2  drops, 2
//   8  body                     8  length, 8        8  stamp, low       4  stamp, high
//      options                                     12  captured         8  stamp, low
//      length of all           interface           16  on the wire     12  captured
//                               0  link type, 2    20  bytes           16  on the wire
//  option                       2  reserved, 2                         20  bytes
//   0  code, 2                  4  limit           simple packet
//   2  length, 2                8  options          0  on the wire
//   4  value, padded to 4                           4  bytes
enum BlockType : std::uint32_t
{
    interfaceDescription = 1,
    obsoletePacket = 2,
    simplePacket = 3,
    enhancedPacket = 6,
    sectionHeader = 0x0A0D0D0A, // the same in both orders
};

enum OptionCode : std::uint16_t
{
    endOfOptions = 0,
    stampResolution = 9,
    stampOffset = 14,
};

constexpr std::uint32_t orderMagic = 0x1A2B3C4D;
constexpr std::size_t blockHeaderLength = 8;
constexpr std::size_t blockTrailerLength = 4;
constexpr std::size_t emptyBlock = blockHeaderLength + blockTrailerLength;
constexpr std::size_t sectionLength = 16;
constexpr std::size_t interfaceLength = 8;
constexpr std::size_t packetLength = 20; // of both kinds that have a stamp
constexpr std::size_t simplePacketLength = 4;
constexpr std::size_t optionHeaderLength = 4;
// More is taken for damage.
constexpr std::uint32_t longestSectionHeader = 1 << 20;
constexpr std::uint32_t longestBlock = 16 << 20;
constexpr std::size_t mostInterfaces = 65536; // of a section

} // namespace nextGeneration

} // namespace ketmon::format
