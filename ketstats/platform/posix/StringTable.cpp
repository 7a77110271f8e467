#include "ketstats/platform/StringTable.h"

#include <algorithm>
#include <iterator>

namespace KetStats::platform {

namespace {

struct Entry
{
    unsigned int id;
    char const * text;
};

constexpr Entry table[] = {
#define STRING(ID, TEXT) {ID, TEXT},
#include "ketstats/platform/Strings.def"
#undef STRING
};

constexpr bool byId(Entry const & left, Entry const & right)
{
    return left.id < right.id;
}

static_assert(std::is_sorted(std::begin(table), std::end(table), byId), "the table is searched by halves");
static_assert(std::size(table) == 114, "a string is missing or new");

} // namespace

bool loadString(HMODULE /*module*/, unsigned int id, std::string & text)
{
    auto const * const found = std::lower_bound(std::begin(table), std::end(table), Entry{id, nullptr}, byId);
    if (found == std::end(table) || found->id != id)
        return false;
    text = found->text;
    return true;
}

} // namespace KetStats::platform
