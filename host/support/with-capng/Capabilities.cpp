#include "host/support/Capabilities.h"

#include <fmt/core.h>

#include <algorithm>
#include <cap-ng.h>
#include <cstdlib>
#include <linux/securebits.h>
#include <memory>
#include <sys/prctl.h>

namespace ketmon {

namespace {

// A user who is root gets no capabilities by starting a program, and none of this can be taken back.
constexpr unsigned long nothingForRoot = SECBIT_NOROOT | SECBIT_NOROOT_LOCKED |
                                         SECBIT_NO_SETUID_FIXUP_LOCKED | SECBIT_KEEP_CAPS_LOCKED |
                                         SECBIT_NO_CAP_AMBIENT_RAISE | SECBIT_NO_CAP_AMBIENT_RAISE_LOCKED;

constexpr int fewNames = 4; // that a line can hold

std::string names(capng_type_t type)
{
    std::unique_ptr<char, decltype(&std::free)> const text(capng_print_caps_text(CAPNG_PRINT_BUFFER, type),
                                                           &std::free);
    return text ? text.get() : "";
}

} // namespace

void clearBoundingSet()
{
    // Whoever may clear the one may do the other; what was left is seen in the end.
    static_cast<void>(prctl(PR_SET_SECUREBITS, nothingForRoot, 0, 0, 0));
    capng_get_caps_process();
    capng_clear(CAPNG_SELECT_BOUNDS);
    static_cast<void>(capng_apply(CAPNG_SELECT_BOUNDS));
}

CCapabilitiesLeft clearCapabilities()
{
    capng_clear(CAPNG_SELECT_ALL);
    static_cast<void>(capng_apply(CAPNG_SELECT_AMBIENT));
    static_cast<void>(capng_apply(CAPNG_SELECT_CAPS));

    // What holds is asked of the kernel, and not taken from what was tried.
    if (capng_get_caps_process() != 0)
        return {true, "capabilities unknown"};
    if (capng_have_capabilities(CAPNG_SELECT_CAPS) != CAPNG_NONE)
        return {true, fmt::format("capabilities left: {}", names(CAPNG_PERMITTED))};
    if (capng_have_capabilities(CAPNG_SELECT_BOUNDS) == CAPNG_NONE)
        return {false, "no capabilities"};
    std::string const bounds = names(CAPNG_BOUNDING_SET);
    if (std::count(bounds.begin(), bounds.end(), ',') >= fewNames)
        return {false, "no capabilities (the bounding set could not be cleared)"};
    return {false, fmt::format("no capabilities (the bounding set could not be cleared of {})", bounds)};
}

} // namespace ketmon
