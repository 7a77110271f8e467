#include "ketstats/platform/Locale.h"

namespace KetStats::platform {

// Locales have digits of monetary amounts only.
bool localeFractionDigits(char * /*text*/, unsigned int /*size*/)
{
    return false;
}

} // namespace KetStats::platform
