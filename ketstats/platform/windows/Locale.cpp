#include "ketstats/platform/Locale.h"

#include "ketstats/platform/SystemTypes.h"

namespace KetStats::platform {

bool localeFractionDigits(char * text, unsigned int size)
{
    return GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_IDIGITS, text, static_cast<int>(size)) > 0;
}

} // namespace KetStats::platform
