#pragma once

#include "ketstats/ktools/MemoryBuffer.h"

#include <string_view>
#include <vector>

namespace test {

using Bytes = std::vector<unsigned char>;

// Hexadecimal pairs between blanks: bytes("01 00 ff").
Bytes bytes(std::string_view text);

// All bytes of a buffer, read or not.
Bytes contents(ktools::CMemoryBuffer const & buffer);

} // namespace test
