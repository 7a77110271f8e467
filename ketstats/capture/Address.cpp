#include "ketstats/capture/Address.h"

#include <algorithm>

namespace {

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

} // namespace

void LoadHexString(char const * text, unsigned char * bytes, int length)
{
    if (length <= 0)
        return;
    std::fill_n(bytes, length, static_cast<unsigned char>(0));
    if (!text)
        return;

    // Each digit shifts the whole number left by half a byte, which right-aligns any count of digits.
    for (; *text; ++text) {
        if (*text == '-' || *text == ':')
            continue;
        int const digit = hexDigit(*text);
        if (digit < 0)
            return;
        for (int i = 0; i < length; ++i) {
            int const low = i + 1 < length ? bytes[i + 1] >> 4 : digit;
            bytes[i] = static_cast<unsigned char>((bytes[i] << 4) | low);
        }
    }
}

std::string hexString(unsigned char const * bytes, int length)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(static_cast<std::size_t>(std::max(0, length)) * 3);
    for (int i = 0; i < length; ++i) {
        if (i > 0)
            text += '-';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0x0F];
    }
    return text;
}

std::string ipv6Text(unsigned char const * bytes)
{
    static constexpr unsigned char mapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    if (std::equal(mapped, mapped + sizeof mapped, bytes)) {
        std::string text = "::ffff:";
        for (int i = 12; i < 16; ++i)
            text += (i == 12 ? "" : ".") + std::to_string(bytes[i]);
        return text;
    }

    unsigned int groups[8];
    for (int i = 0; i < 8; ++i)
        groups[i] = static_cast<unsigned int>(bytes[2 * i]) << 8 | bytes[2 * i + 1];
    // A single group of zero stays as it is.
    int longest = 1;
    int start = 8;
    for (int i = 0, zeros = 0; i < 8; ++i) {
        zeros = groups[i] == 0 ? zeros + 1 : 0;
        if (zeros > longest) {
            longest = zeros;
            start = i + 1 - zeros;
        }
    }

    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (int i = 0; i < 8; ++i) {
        if (i == start) {
            text += "::";
            i += longest - 1;
            continue;
        }
        if (i != 0 && text.back() != ':')
            text += ':';
        bool begun = false;
        for (int shift = 12; shift >= 0; shift -= 4) {
            unsigned int const digit = groups[i] >> shift & 0xF;
            begun = begun || digit != 0 || shift == 0;
            if (begun)
                text += digits[digit];
        }
    }
    return text;
}
