#pragma once

#include "ketstats/text/StringIds.h"
#include "ketstats/text/StringResources.h"

#include <initializer_list>
#include <string>

// Texts of the string table that outlive the fetch. Library use only; on any thread.
namespace KetStats {

// The text of a string resource, as one's own.
std::string textOf(unsigned int id);

// Texts that an object fetches when they are first asked for and then keeps. `resourceId` is that of the first of
// them, 0 once they are there; a missing one takes the text of `fallback`. Threads that ask at once fetch once.
void loadTexts(std::initializer_list<std::string *> texts, unsigned int & resourceId, unsigned int fallback);

// The display name behind `resourceId`, which becomes 0 once `name` is there. A missing one reads "Unknown
// statistic", that of a format too.
inline std::string const & loadedName(std::string & name, unsigned int & resourceId)
{
    loadTexts({&name}, resourceId, StringIds::unknownStatistic);
    return name;
}

} // namespace KetStats
