#include "ketstats/text/StringResources.h"

#include "ketstats/platform/StringTable.h"

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

std::string const & CStringResources::getString(unsigned int id)
{
    if (id == lastId)
        return ring[static_cast<std::size_t>(current)];
    current = (current + 1) % static_cast<int>(ring.size());
    std::string & slot = ring[static_cast<std::size_t>(current)];
    if (!loadStringResource(id, slot, module))
        slot.clear();
    return slot;
}

} // namespace KetStats
