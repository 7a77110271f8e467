#pragma once

#include "ketstats/platform/Exports.h"

#include <array>
#include <string>

// Reads hexadecimal text into at most `length` bytes. '-' and ':' are skipped; a text of fewer bytes stands
// right-aligned behind zeros, one of more keeps its last bytes. Reading stops at the first other character.
KNDISLIB_API void LoadHexString(char const * text, unsigned char * bytes, int length);

// `length` bytes as upper-case hexadecimal pairs joined by '-': the text that LoadHexString reads back.
KNDISLIB_API std::string hexString(unsigned char const * bytes, int length);

// The canonical text of the sixteen bytes of an IPv6 address: lower case, no leading zeros, and the longest run of
// zero groups, the first of the longest, as "::". An IPv4 address that is mapped into IPv6 stands in dotted form.
KNDISLIB_API std::string ipv6Text(unsigned char const * bytes);

// A fixed address of N bytes, in wire order.
template <int N>
class CRevAddr
{
public:
    CRevAddr() = default;
    explicit CRevAddr(unsigned char const * source)
    {
        for (int i = 0; i < N; ++i)
            bytes[static_cast<std::size_t>(i)] = source[i];
    }

    operator std::string() const { return hexString(bytes.data(), N); }

    // Writes `length` bytes of `source` to `target` in reverse order; `length` may differ from N.
    static void Reverse(unsigned char const * source, unsigned char * target, unsigned short length)
    {
        for (unsigned short i = 0; i < length; ++i)
            target[length - 1 - i] = source[i];
    }

    friend bool operator==(CRevAddr const &, CRevAddr const &) = default;

    std::array<unsigned char, N> bytes{};
};

using CMACAddr = CRevAddr<6>;
static_assert(sizeof(CMACAddr) == 6, "addresses are copied as six raw bytes");
