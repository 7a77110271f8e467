#pragma once

namespace KetStats::platform {

// Writes the number of places behind the point that the user's locale asks for to `text`, of `size`
// characters, as a zero-terminated text. False if the system has no such setting or can't tell it.
bool localeFractionDigits(char * text, unsigned int size);

} // namespace KetStats::platform
