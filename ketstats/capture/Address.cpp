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
