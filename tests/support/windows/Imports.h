#pragma once

#include <windows.h>

namespace test {

// Where a loaded module keeps the address of a function that it imports by that name, from whatever library;
// null if it doesn't.
void ** importOf(HMODULE importer, char const * function);

// Has the module call `replacement` from now on, and yields what it called before; null if it doesn't import
// the function.
void * replaceImport(HMODULE importer, char const * function, void * replacement);

// The same while the object lives. Throws std::runtime_error if the module doesn't import the function.
class ReplacedImport
{
public:
    template <class Function>
    ReplacedImport(HMODULE importer, char const * function, Function * replacement)
        : ReplacedImport(importer, function, reinterpret_cast<void *>(replacement))
    {}
    ReplacedImport(HMODULE importer, char const * function, void * replacement);
    ~ReplacedImport();
    ReplacedImport(ReplacedImport const &) = delete;
    ReplacedImport & operator=(ReplacedImport const &) = delete;

private:
    HMODULE m_importer;
    char const * m_function;
    void * m_before;
};

} // namespace test
