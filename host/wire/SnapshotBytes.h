#pragma once

#include "host/wire/Protocol.h"

#include "ketstats/ketstats.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace ketmon {

// Bytes that are no packed snapshot, or not a whole one.
class CDamagedSnapshot : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// Packs a snapshot: all that is selected, or what changed since it was last packed. `room` is how many bytes are
// expected at most. More come all the same, but are copied again and again while the room grows, which takes seconds
// for large tables; room that isn't used costs next to nothing.
std::string packed(KetStats::CStatSnapshot & snapshot, bool onlyChanged, std::size_t room = largestToConsole);

// Fills a snapshot with the bytes of exactly one packed snapshot. Throws CDamagedSnapshot; what was read by
// then stays in the snapshot.
void unpack(KetStats::CStatSnapshot & snapshot, std::string_view bytes);

// Frames that a snapshot has seen, "Global transmitted frames".
unsigned int framesOf(KetStats::CStatSnapshot const & snapshot);

} // namespace ketmon
