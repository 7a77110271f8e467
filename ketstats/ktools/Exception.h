#pragma once

#include "ketstats/platform/Exports.h"

#include <new>
#include <string>

namespace ktools {

// Base of every exception of the library. Exceptions are thrown as pointers to objects on the free store:
// whoever catches one owns it and deletes it. A handler for `ktools::CException *` takes the whole family.
// If the exception object itself can't be allocated, the null pointer is thrown.
class KETSTATS_TYPE CException
{
public:
    CException(int theCode, char const * theFile, int theLine)
        : code(theCode),
          line(theLine),
          file(theFile),
          flag(true)
    {}

    int code;          // 1: a fault of the operation itself; 2: the content of a stream or request is wrong
    int line;          // identifies the place that raised it
    char const * file; // name of the raising source, a literal
    bool flag;         // always true
};

// What an exception tells, for people: "the bytes end too early (MemoryBuffer 184, code 1)".
[[nodiscard]] KETSTATS_API std::string describe(CException const & exception);

// Throws a new E. The one way in which this library raises anything.
template <class E>
[[noreturn]] void raise(int code, char const * file, int line)
{
    throw new (std::nothrow) E(code, file, line);
}

} // namespace ktools
