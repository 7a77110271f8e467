#include "ketstats/platform/Locale.h"

namespace KetStats::platform {

// Locales tell the places of amounts of money here, and those of plain numbers nowhere.
bool localeFractionDigits(char * /*text*/, unsigned int /*size*/)
{
    return false;
}

} // namespace KetStats::platform
