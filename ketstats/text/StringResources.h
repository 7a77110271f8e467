#pragma once

#include "ketstats/platform/Exports.h"
#include "ketstats/platform/SystemTypes.h"

#include <array>
#include <string>

namespace KetStats {

// Fetches string `id` of the string table of `module`. True if it was found, and then `text` holds it; false,
// with `text` as it was, if there is none.
KETSTATS_API bool loadStringResource(unsigned int id, std::string & text, HMODULE module);

// The one place that reads the library's string table: a supply of short-lived return values. Nothing is
// looked up among the strings held; callers keep what they fetched, so that each text is fetched once.
//
// Any thread may fetch; the ten fetches after which a reference goes stale are those of all threads.
class KETSTATS_API CStringResources
{
public:
    static CStringResources & instance();

    // The text of a string resource; empty if there is no such string. The reference stays good until ten
    // more fetches have gone by.
    std::string const & getString(unsigned int id);

    HMODULE module = nullptr; // whose table is read; set when the library is loaded
    std::array<std::string, 10> ring;
    int current = 0;         // slot filled last
    unsigned int lastId = 0; // always 0: the id 0, which nobody asks for, gets the current slot unfetched

private:
    CStringResources() = default;
};

} // namespace KetStats
