#include "host/agent/MemoryCeiling.h"

#include <fmt/core.h>

namespace ketmon {

void CMemoryCeiling::look(std::function<bool(std::string const & why)> const & letGo)
{
    bool const above = m_resident() > m_most;
    if (m_mayReturn || above)
        returnFreeMemory();
    m_mayReturn = false;
    if (!above)
        return;
    std::size_t const resident = m_resident().value_or(0);
    if (resident <= m_most)
        return;
    if (letGo(fmt::format("the agent has reached the {} MiB of memory that it may have", megabytes())))
        m_mayReturn = true;
    else if (m_warnings.allows(CRateLimit::Clock::now()))
        m_log.warn(
            fmt::format("without consoles the agent has {} MiB of memory, and may have {}: fewer rows take "
                        "less",
                        resident >> 20, megabytes()));
}

std::string CMemoryCeiling::shortage() const
{
    if (m_resident() <= m_most)
        return "";
    returnFreeMemory();
    return m_resident() <= m_most
               ? ""
               : fmt::format(
                     "the agent has no memory left for another console, of the {} MiB that it may have",
                     megabytes());
}

} // namespace ketmon
