// What is built when the library is loaded, in this order and no other, and the entry function behind it.
// Every object here is torn down when the library goes, in the reverse order. Nothing here may fetch a
// string: the module whose table is read isn't known before the entry function ran. That is why names load
// lazily.

#include "ketstats/engine/StatManager.h"
#include "ketstats/platform/Module.h"
#include "ketstats/text/ModulePath.h"
#include "ketstats/text/StringResources.h"

#include <iterator>
#include <utility>

namespace KetStats {

// 1. The identifiers of the top-level groups and their enable flags.
static std::pair<COid const, int> const topLevelPairs[] = {
    {"1.1", 1}, {"1.2", 2}, {"1.3", 3}, {"1.4", 4}, {"1.5", 5},
    {"1.6", 6}, {"1.7", 7}, {"1.8", 8}, {"1.9", 9},
};

// 2. The map of them.
std::map<COid, int, COidLess> const topLevelOids(std::begin(topLevelPairs), std::end(topLevelPairs));

// 3. The multipliers, which the format lists behind them read.
// 4. to 7. The standard lists of integer, double, MAC and IP formats.
// 8. The names of the IP sub-protocols.
// 9. and 10. The standard lists of protocol id and string formats.
// 11. to 16. The custom lists, which belong to the host.

// The entry function: runs when the library is attached to a process, with everything above in place.
static void processAttach(HMODULE module)
{
    initModulePath(module);
    CStringResources::instance().module = module;
}

static platform::CAttachAtLoad const attachAtLoad(&processAttach);

} // namespace KetStats
