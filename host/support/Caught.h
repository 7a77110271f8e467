#pragma once

#include <string>

namespace ketmon {

// What the exception that is being handled says of itself, whatever its kind: for a handler of all, `catch (...)`,
// and once in it, since one of the library's own, which is thrown as a pointer, is deleted by this.
std::string caughtText() noexcept;

} // namespace ketmon
