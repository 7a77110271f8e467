#include "tests/support/Frames.h"

namespace test {

Bytes operator+(Bytes const & front, Bytes const & back)
{
    Bytes whole = front;
    whole.insert(whole.end(), back.begin(), back.end());
    return whole;
}

Bytes ethernet(char const * destination, char const * source, unsigned int type)
{
    Bytes header(14);
    LoadHexString(destination, header.data(), 6);
    LoadHexString(source, header.data() + 6, 6);
    header[12] = static_cast<unsigned char>(type >> 8);
    header[13] = static_cast<unsigned char>(type);
    return header;
}

} // namespace test
