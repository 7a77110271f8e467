// Loads and unloads the library at run time, as a host does that is itself a plug-in:
//
//     UnloadTest MODULE LIBRARY
//
// This program isn't linked with the library. Each round shows that it comes up whole, deletes what a host
// left in its lists exactly once, tears down in the reverse order of building, and is gone from the process.

#include "tests/posix/UnloadedModule.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int rounds = 5;

int failures = 0;

void failed(char const * what, int line)
{
    std::printf("line %d: %s\n", line, what);
    ++failures;
}

#define EXPECT(CONDITION)                                                                                    \
    do {                                                                                                     \
        if (!(CONDITION))                                                                                    \
            failed(#CONDITION, __LINE__);                                                                    \
    } while (false)

// Teardowns, each told before it runs. Only while a watch is set; what was registered before stays unwatched.
struct Teardown
{
    void (*function)(void *);
    void * object;
    void * module; // whose object it is
};
bool watching = false;
std::vector<std::unique_ptr<Teardown>> teardowns;
std::vector<Teardown> tornDown;

void runTeardown(void * teardown)
{
    auto const & watched = *static_cast<Teardown const *>(teardown);
    tornDown.push_back(watched);
    watched.function(watched.object);
}

bool isLoaded(char const * name)
{
    struct Search
    {
        char const * name;
        bool found;
    } search{name, false};
    dl_iterate_phdr(
        [](dl_phdr_info * info, std::size_t, void * data) {
            auto * const wanted = static_cast<Search *>(data);
            wanted->found |= std::strstr(info->dlpi_name, wanted->name) != nullptr;
            return 0;
        },
        &search);
    return search.found;
}

void expectNothingIsLoaded()
{
    EXPECT(!isLoaded("libketstats"));
    EXPECT(!isLoaded("libkndislib"));
}

void * load(char const * path)
{
    void * const handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        failed(dlerror(), __LINE__);
    return handle;
}

void call(void * module, char const * name, unloading::Report & report)
{
    report.failed = &failed;
    auto * const use = reinterpret_cast<unloading::Use *>(dlsym(module, name));
    EXPECT(use != nullptr);
    if (use)
        use(&report);
}

// In the order that the module told; and behind all that, as they were built first, the identifiers of the
// top-level groups and the map of them, which have no address outside the library.
void expectTornDownInOrder(unloading::Report const & report)
{
    std::vector<void const *> const told(report.objects, report.objects + report.objectCount);
    std::vector<void const *> seen;
    void const * library = nullptr;
    long behind = 0;
    for (Teardown const & teardown : tornDown) {
        if (std::find(told.begin(), told.end(), teardown.object) != told.end()) {
            seen.push_back(teardown.object);
            library = teardown.module;
            behind = 0;
        } else if (teardown.module == library) {
            ++behind;
        }
    }
    EXPECT(told.size() > 20);
    EXPECT(seen == told);
    EXPECT(behind == 2);
}

// The library comes and goes with the module, which leaves its formats to it.
void moduleBringsTheLibrary(char const * modulePath)
{
    unloading::Report report;
    expectNothingIsLoaded();
    watching = true;
    void * const module = load(modulePath);
    if (!module)
        return;
    call(module, unloading::useAndLeave, report);
    EXPECT(report.formatsDeleted == 0);
    EXPECT(isLoaded("libketstats"));

    EXPECT(dlclose(module) == 0);
    watching = false;

    EXPECT(report.formatsLeft > 0);
    EXPECT(report.formatsDeleted == report.formatsLeft);
    expectNothingIsLoaded();

    expectTornDownInOrder(report);
    tornDown.clear();
    teardowns.clear();
}

// The library stays while modules come and go, which take their formats out before.
void libraryOutlivesTheModule(char const * modulePath, char const * libraryPath)
{
    expectNothingIsLoaded();
    void * const library = load(libraryPath);
    for (int i = 0; library && i < 2; ++i) {
        unloading::Report report;
        void * const module = load(modulePath);
        if (!module)
            return;
        call(module, unloading::useAndTakeOut, report);
        EXPECT(report.formatsDeleted == 7);
        EXPECT(dlclose(module) == 0);
        EXPECT(!isLoaded(modulePath));
        EXPECT(report.formatsDeleted == 7);
        EXPECT(isLoaded("libketstats"));
    }
    EXPECT(library && dlclose(library) == 0);
    expectNothingIsLoaded();
}

void libraryAlone(char const * libraryPath)
{
    expectNothingIsLoaded();
    void * const library = load(libraryPath);
    EXPECT(isLoaded("libketstats"));
    EXPECT(isLoaded("libkndislib"));
    EXPECT(library && dlclose(library) == 0);
    expectNothingIsLoaded();
}

} // namespace

// Stands in front of the system's, which every library calls to have a static object torn down.
extern "C" __attribute__((visibility("default"))) int __cxa_atexit(void (*function)(void *), void * object,
                                                                   void * module)
{
    using Register = int(void (*)(void *), void *, void *);
    static auto * const next = reinterpret_cast<Register *>(dlsym(RTLD_NEXT, "__cxa_atexit"));
    if (!watching)
        return next(function, object, module);
    teardowns.push_back(std::make_unique<Teardown>(Teardown{function, object, module}));
    return next(&runTeardown, teardowns.back().get(), module);
}

int main(int argc, char ** argv)
{
    if (argc != 3) {
        std::puts("usage: UnloadTest MODULE LIBRARY");
        return 2;
    }
    // A library that didn't go would spoil everything behind it.
    int round = 0;
    for (; round < rounds && failures == 0; ++round) {
        libraryAlone(argv[2]);
        if (failures == 0)
            moduleBringsTheLibrary(argv[1]);
        if (failures == 0)
            libraryOutlivesTheModule(argv[1], argv[2]);
    }
    std::printf("%d rounds, %d failures\n", round, failures);
    return failures != 0;
}
