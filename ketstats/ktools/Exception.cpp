#include "ketstats/ktools/Exception.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace ktools {

namespace {

// The places that raise. Those whose line isn't here are told by their source and code.
struct CPlace
{
    char const * file;
    int line;
    char const * meaning;
};

constexpr CPlace places[] = {
    {"AgentStatistic", 559, "there is no statistic at that position"},
    {"Filter", 170, "the filter has too many compounds within one another"},
    {"Filter", 185, "the filter would have too many compounds within one another"},
    {"Filter", 196, "the filter has too many compounds within one another to be packed"},
    {"MemoryBuffer", 34, "a buffer can't have a negative number of bytes"},
    {"MemoryBuffer", 131, "the buffer is full"},
    {"MemoryBuffer", 184, "the bytes end too early"},
    {"MemoryBuffer", 187, "the buffer's cursor stands behind its end"},
    {"StatSnapshot", 204, "there is no such statistic to select"},
    {"StatSnapshot", 555, "the bytes are no packed snapshot"},
    {"StatTypes", 283, "the bytes hold a statistic that isn't known here"},
    {"StatTypes", 1204, "the bytes hold a row that has no place in its table"},
    {"StatTypes", 1211, "the bytes hold a row that shows another key than its own"},
    {"statvalues", 47, "the identifier has a dot with no digit before it"},
    {"statvalues", 54, "the identifier has a character that is neither digit nor dot"},
    {"statvalues", 62, "the identifier is empty"},
};

char const * meaningOf(CException const & exception)
{
    auto const * const found =
        std::find_if(std::begin(places), std::end(places), [&exception](CPlace const & place) {
            return place.line == exception.line && std::strcmp(place.file, exception.file) == 0;
        });
    if (found != std::end(places))
        return found->meaning;
    if (std::strcmp(exception.file, "Filter") == 0 || std::strcmp(exception.file, "FieldFilters") == 0)
        return exception.code == 2 ? "the bytes are no packed filter" : "the filter can't be packed";
    return exception.code == 2 ? "the content of a stream or a request is wrong"
                               : "the operation can't be done";
}

} // namespace

std::string describe(CException const & exception)
{
    return std::string(meaningOf(exception)) + " (" + exception.file + ' ' + std::to_string(exception.line) +
           ", code " + std::to_string(exception.code) + ')';
}

} // namespace ktools
