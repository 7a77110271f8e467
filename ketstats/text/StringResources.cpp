#include "ketstats/text/StringResources.h"

#include "ketstats/platform/StringTable.h"
#include "ketstats/text/LazyText.h"

#include <mutex>

namespace KetStats {

bool loadStringResource(unsigned int id, std::string & text, HMODULE module)
{
    return platform::loadString(module, id, text);
}

CStringResources & CStringResources::instance()
{
    static CStringResources resources;
    return resources;
}

namespace {

// Held while a slot is filled, and until whoever wants a text of its own has copied it.
std::recursive_mutex filling;

} // namespace

std::string textOf(unsigned int id)
{
    std::lock_guard const lock(filling);
    return CStringResources::instance().getString(id);
}

std::string const & CStringResources::getString(unsigned int id)
{
    std::lock_guard const lock(filling);
    if (id == lastId)
        return ring[static_cast<std::size_t>(current)];
    current = (current + 1) % static_cast<int>(ring.size());
    std::string & slot = ring[static_cast<std::size_t>(current)];
    if (!loadStringResource(id, slot, module))
        slot.clear();
    return slot;
}

} // namespace KetStats
