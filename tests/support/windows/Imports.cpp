#include "tests/support/windows/Imports.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace test {

void ** importOf(HMODULE importer, char const * function)
{
    auto * const image = reinterpret_cast<unsigned char *>(importer);
    auto const & dosHeader = *reinterpret_cast<IMAGE_DOS_HEADER const *>(image);
    auto const & headers = *reinterpret_cast<IMAGE_NT_HEADERS const *>(image + dosHeader.e_lfanew);
    auto const * library = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR const *>(
        image + headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    for (; library->Name != 0; ++library) {
        auto const * name = reinterpret_cast<IMAGE_THUNK_DATA const *>(image + library->OriginalFirstThunk);
        auto * address = reinterpret_cast<IMAGE_THUNK_DATA *>(image + library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++address) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal))
                continue;
            auto const & entry =
                *reinterpret_cast<IMAGE_IMPORT_BY_NAME const *>(image + name->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<char const *>(entry.Name), function) == 0)
                return reinterpret_cast<void **>(&address->u1.Function);
        }
    }
    return nullptr;
}

void * replaceImport(HMODULE importer, char const * function, void * replacement)
{
    void ** const address = importOf(importer, function);
    DWORD protection = 0;
    if (!address || !VirtualProtect(address, sizeof *address, PAGE_READWRITE, &protection))
        return nullptr;
    void * const before = *address;
    *address = replacement;
    VirtualProtect(address, sizeof *address, protection, &protection);
    return before;
}

ReplacedImport::ReplacedImport(HMODULE importer, char const * function, void * replacement)
    : m_importer(importer),
      m_function(function),
      m_before(replaceImport(importer, function, replacement))
{
    if (!m_before)
        throw std::runtime_error(std::string("the module doesn't import ") + function);
}

ReplacedImport::~ReplacedImport()
{
    replaceImport(m_importer, m_function, m_before);
}

} // namespace test
