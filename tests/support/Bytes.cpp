#include "tests/support/Bytes.h"

#include <charconv>
#include <stdexcept>

namespace test {

Bytes bytes(std::string_view text)
{
    Bytes result;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == ' ') {
            ++at;
            continue;
        }
        unsigned char byte = 0;
        char const * const first = text.data() + at;
        if (at + 2 > text.size() || std::from_chars(first, first + 2, byte, 16).ptr != first + 2)
            throw std::invalid_argument("not a pair of hexadecimal digits");
        result.push_back(byte);
        at += 2;
    }
    return result;
}

Bytes contents(ktools::CMemoryBuffer const & buffer)
{
    return {buffer.data, buffer.data + buffer.size};
}

} // namespace test
