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
static_assert(std::size(table) == 154, "a string is missing or new");

constexpr unsigned int idsOfABlock = 16;
constexpr unsigned int idBits = 0xFFFFF; // the number of a block has 16, and the place in it 4

Entry const * firstFrom(unsigned int id)
{
    return std::lower_bound(std::begin(table), std::end(table), Entry{id, nullptr}, byId);
}

} // namespace

bool loadString(HMODULE /*module*/, unsigned int wideId, std::string & text)
{
    unsigned int const id = wideId & idBits;
    unsigned int const block = id - id % idsOfABlock;
    Entry const * const first = firstFrom(block);
    if (first == std::end(table) || first->id >= block + idsOfABlock)
        return false;
    Entry const * const found = firstFrom(id);
    text = found != std::end(table) && found->id == id ? found->text : "";
    return true;
}

} // namespace KetStats::platform
