#pragma once

#include "ketstats/text/StringIds.h"
#include "ketstats/text/StringResources.h"

#include <string>

// Texts that an object fetches when they are first asked for and then keeps. Library use only; not locked.
namespace KetStats {

// Loads a string resource into `text`, or `fallback` if there is none.
inline void loadText(std::string & text, unsigned int id, unsigned int fallback)
{
    text = CStringResources::instance().getString(id);
    if (text.empty())
        text = CStringResources::instance().getString(fallback);
}

// The display name behind `resourceId`, which becomes 0 once `name` is there. A missing one reads "Unknown
// statistic", that of a format too.
inline std::string const & loadedName(std::string & name, unsigned int & resourceId)
{
    if (resourceId != 0) {
        loadText(name, resourceId, StringIds::unknownStatistic);
        resourceId = 0;
    }
    return name;
}

} // namespace KetStats
