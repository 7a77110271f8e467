#pragma once

#include <windows.h>

namespace test {

// Where a loaded module keeps the address of a function that it imports by that name, from whatever library;
// null if it doesn't.
void ** importOf(HMODULE importer, char const * function);

// Has the module call `replacement` from now on, and yields what it called before; null if it doesn't import
// the function.
void * replaceImport(HMODULE importer, char const * function, void * replacement);

} // namespace test
