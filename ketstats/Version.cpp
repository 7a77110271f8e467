#include "ketstats/Version.h"

#define TEXT_OF(NUMBER) #NUMBER
#define DOTTED(MAJOR, MINOR, PATCH) TEXT_OF(MAJOR) "." TEXT_OF(MINOR) "." TEXT_OF(PATCH)

namespace KetStats {

int version()
{
    return KETSTATS_VERSION;
}

char const * versionText()
{
    return DOTTED(KETSTATS_VERSION_MAJOR, KETSTATS_VERSION_MINOR, KETSTATS_VERSION_PATCH);
}

} // namespace KetStats
