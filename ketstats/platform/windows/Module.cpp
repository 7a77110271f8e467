#include "ketstats/platform/Loader.h"

#include <algorithm>
#include <vector>

// The compiler's support of delayed loading has names of its own like ours.
#include <delayimp.h>

namespace KetStats::platform {

namespace {

static_assert(beforeLoadLibrary == dliNotePreLoadLibrary);

// Set while this library is built, used when the system calls the entry function.
void (*attachFunction)(HMODULE) = nullptr;

DelayLoadHook delayLoadHook = nullptr;

FARPROC WINAPI notify(unsigned int notification, ::DelayLoadInfo * info)
{
    DelayLoadInfo const ours = {info->szDll};
    return delayLoadHook ? delayLoadHook(notification, &ours) : nullptr;
}

// A library that is bound late, as this one's file describes it. Calls of its functions go through a table of
// addresses, which the first call of each writes.
class CDelayLoaded
{
public:
    CDelayLoaded(unsigned char * image, ImgDelayDescr const & description)
        : m_handle(reinterpret_cast<HMODULE *>(image + description.rvaHmod)),
          m_addresses(reinterpret_cast<IMAGE_THUNK_DATA *>(image + description.rvaIAT))
    {
        auto const * name = reinterpret_cast<IMAGE_THUNK_DATA const *>(image + description.rvaINT);
        for (IMAGE_THUNK_DATA const * address = m_addresses; name->u1.AddressOfData != 0; ++name)
            m_unbound.push_back(*address++);
    }

    // Unloads the library and makes it unbound again, so that a later call would load it anew. The linkers
    // at hand leave out the copy that the compiler's own function for this wants.
    void unload()
    {
        if (!*m_handle)
            return;
        std::copy(m_unbound.begin(), m_unbound.end(), m_addresses);
        FreeLibrary(*m_handle);
        *m_handle = nullptr;
    }

private:
    HMODULE * m_handle;
    IMAGE_THUNK_DATA * m_addresses;
    std::vector<IMAGE_THUNK_DATA> m_unbound; // as the file has them
};

std::vector<CDelayLoaded> delayLoaded;

void findDelayLoaded(HMODULE module)
{
    auto * const image = reinterpret_cast<unsigned char *>(module);
    auto const & dosHeader = *reinterpret_cast<IMAGE_DOS_HEADER const *>(image);
    auto const & headers = *reinterpret_cast<IMAGE_NT_HEADERS const *>(image + dosHeader.e_lfanew);
    IMAGE_DATA_DIRECTORY const & directory =
        headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT];
    if (directory.VirtualAddress == 0)
        return;
    auto const * description = reinterpret_cast<ImgDelayDescr const *>(image + directory.VirtualAddress);
    for (; description->rvaDLLName != 0; ++description)
        delayLoaded.emplace_back(image, *description);
}

} // namespace

unsigned int moduleFileName(HMODULE module, char * path, unsigned int size)
{
    return GetModuleFileNameA(module, path, size);
}

HMODULE loadModule(char const * path)
{
    return LoadLibraryA(path);
}

void installDelayLoadHook(DelayLoadHook hook)
{
    delayLoadHook = hook;
    __pfnDliNotifyHook2 = &notify;
}

void unloadDelayLoaded()
{
    __pfnDliNotifyHook2 = nullptr;
    delayLoadHook = nullptr;
    for (CDelayLoaded & library : delayLoaded)
        library.unload();
}

CAttachAtLoad::CAttachAtLoad(void (*attach)(HMODULE))
{
    attachFunction = attach;
}

} // namespace KetStats::platform

// The entry function. The static objects of the library stand when it is called.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/)
{
    if (reason == DLL_PROCESS_ATTACH) {
        KetStats::platform::findDelayLoaded(module);
        KetStats::platform::attachFunction(module);
    }
    return TRUE;
}
