#pragma once

#include "ketstats/capture/Filter.h"

#include <bit>
#include <type_traits>

// The pieces of packed filters. Numbers lie in the order of the machine, which is little-endian.
namespace filterstream {

static_assert(std::endian::native == std::endian::little, "numbers are packed as they lie");

// Bits of a filter's flags; the others are zero.
constexpr unsigned char negatedFlag = 0x01;

// Bytes of the smallest filter: id, flags, the length of an empty description, and one byte of fields.
constexpr int smallestFilter = 1 + 1 + 4 + 1;

template <class T>
void write(ktools::CMemoryBuffer & buffer, T const & value)
{
    static_assert(std::is_trivially_copyable_v<T>, "values are packed as they lie in memory");
    buffer.Write(&value, sizeof value);
}

template <class T>
T read(ktools::CMemoryBuffer & buffer)
{
    static_assert(std::is_trivially_copyable_v<T>, "values are unpacked as they lie in memory");
    T value;
    buffer.Read(&value, sizeof value);
    return value;
}

[[noreturn]] inline void refuse(int line, char const * source = "Filter")
{
    ktools::raise<CFilter::CException>(2, source, line);
}

} // namespace filterstream
