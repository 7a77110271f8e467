// Uses the statistics library on behalf of a program that doesn't know it when it starts.

#include "ketstats/ketstats.h"
#include "ketstats/platform/Module.h"

#include <memory>

namespace {

std::unique_ptr<KetStats::CKetrinStatManager> manager;

} // namespace

extern "C" {

__declspec(dllexport) void makeManager()
{
    manager = std::make_unique<KetStats::CKetrinStatManager>();
}

// Asks the adapter, which is the first call of the capture library.
__declspec(dllexport) void begin()
{
    manager->beginAnalyzing(nullptr);
}

__declspec(dllexport) void end()
{
    manager.reset();
}

// What the library does when it goes.
__declspec(dllexport) void unload()
{
    KetStats::platform::unloadDelayLoaded();
}
}
