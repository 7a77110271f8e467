#pragma once

#include "host/capture/CaptureFormat.h"

#include <cstdint>
#include <span>

namespace ketmon {

// How an interface in a file of the next generation counts time: parts of a second, from a moment of its own.
class CStampUnit
{
public:
    // `options` stand behind the description of the interface. Throws CDamagedCapture if they make no sense.
    CStampUnit(std::span<unsigned char const> options, format::CByteOrder order);

    // In units of 100 ns since 1601-01-01 UTC.
    long long ticks(std::uint64_t stamp) const;

private:
    void setResolution(unsigned char exponent);

    std::uint64_t m_perSecond = 1000000;
    bool m_binary = false;      // a power of two
    std::uint64_t m_offset = 0; // seconds; wraps where it is negative
};

} // namespace ketmon
