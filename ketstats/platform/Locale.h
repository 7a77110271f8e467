#pragma once

namespace KetStats::platform {

// Writes how many digits the user's settings put behind the point, as a zero-terminated text, to `text`, of
// `size` characters. False, with `text` in no particular state, if the system has no such setting or doesn't
// tell it.
bool localeFractionDigits(char * text, unsigned int size);

} // namespace KetStats::platform
