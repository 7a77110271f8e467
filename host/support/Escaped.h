#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ketmon {

// Text that came from a frame, a file or the network, as a terminal and a page may have it: what they would
// obey rather than show stands as an escape, so that nothing is hidden either.
//
//     C0, DEL, and bytes that are no UTF-8      \x1b
//     C1, bidirectional marks, other breaks     \u202e
//         of lines
//
// The result is valid UTF-8 on one line.
std::string escaped(std::string_view text);

// The same in `most` bytes, and then "..." for what is left out: whole characters and whole escapes.
std::string escapedStart(std::string_view text, std::size_t most);

// The same text as valid UTF-8, with escapes only for the bytes that are none: for JSON, which escapes the
// rest itself.
std::string validUtf8(std::string_view text);

} // namespace ketmon
