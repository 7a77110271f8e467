// Loads the statistics library from a given path, uses it, and tells after each step where the capture
// library was loaded from.
//
//     late-binding KETSTATS.DLL PROBE.DLL MODE
//
//     twice     loads, uses and unloads everything, and that once more
//     exit      ends with everything loaded and used
//     formats   the same, with formats of the host's left in the library's lists
//     plugin    leaves such formats and unloads everything, the probe holding the library longest
//     text      ends when the text of an address was made, without any analysis
//     ipv6Text  the same with an address of IPv6
//     again     uses everything, unloads the capture library alone, and uses everything again
//     handler   tells which structured exception the first call raises

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

void tell(char const * step)
{
    char path[MAX_PATH] = "absent";
    if (HMODULE const module = GetModuleHandleA("kndislib.dll"))
        GetModuleFileNameA(module, path, sizeof path);
    std::printf("%s: %s\n", step, path);
    std::fflush(stdout);
}

HMODULE load(char const * path)
{
    HMODULE const module = LoadLibraryA(path);
    if (!module) {
        std::printf("can't load %s: %lu\n", path, GetLastError());
        std::exit(2);
    }
    return module;
}

void call(HMODULE module, char const * function)
{
    GetProcAddress(module, function)();
    tell(function);
}

LONG CALLBACK tellException(EXCEPTION_POINTERS * raised)
{
    std::printf("exception: %lX\n", raised->ExceptionRecord->ExceptionCode);
    std::fflush(stdout);
    // An ordinary end would tear down the manager, which is in the middle of its operation.
    TerminateProcess(GetCurrentProcess(), 3);
    return EXCEPTION_CONTINUE_SEARCH;
}

} // namespace

int main(int, char ** arguments)
{
    char const * const mode = arguments[3];
    if (std::strcmp(mode, "handler") == 0)
        AddVectoredExceptionHandler(1, &tellException);
    for (int turn = 0; turn < 2; ++turn) {
        tell("start");
        HMODULE const library = load(arguments[1]);
        tell("loaded");
        HMODULE const probe = load(arguments[2]);
        call(probe, "makeManager");
        if (std::strcmp(mode, "text") == 0 || std::strcmp(mode, "ipv6Text") == 0) {
            call(probe, mode);
            return 0;
        }
        call(probe, "begin");
        if (std::strcmp(mode, "formats") == 0 || std::strcmp(mode, "plugin") == 0)
            call(probe, "leaveFormats");
        if (std::strcmp(mode, "exit") == 0 || std::strcmp(mode, "formats") == 0)
            return 0;
        call(probe, "end");
        if (std::strcmp(mode, "again") == 0) {
            call(probe, "unload");
            call(probe, "makeManager");
            call(probe, "begin");
            return 0;
        }
        bool const isPlugin = std::strcmp(mode, "plugin") == 0;
        FreeLibrary(isPlugin ? library : probe);
        FreeLibrary(isPlugin ? probe : library);
        std::printf("library: %s\n", GetModuleHandleA("ketstats.dll") ? "loaded" : "absent");
    }
    tell("unloaded");
}
