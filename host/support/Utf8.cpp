#include "host/support/Utf8.h"

#include <algorithm>

namespace ketmon {

namespace {

bool startsCharacter(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

} // namespace

std::size_t columnsOf(std::string_view text)
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), startsCharacter));
}

std::string firstColumns(std::string_view text, std::size_t columns)
{
    std::size_t end = 0;
    while (end < text.size() && (!startsCharacter(text[end]) || columns-- > 0))
        ++end;
    return std::string(text.substr(0, end));
}

} // namespace ketmon
