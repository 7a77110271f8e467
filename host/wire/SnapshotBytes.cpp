#include "host/wire/SnapshotBytes.h"

#include <algorithm>
#include <climits>
#include <memory>

namespace ketmon {

using KetStats::CStatSnapshot;
using ktools::CMemoryBuffer;

namespace {

constexpr std::string_view endMark("\0\0", 2);

} // namespace

std::string packed(CStatSnapshot & snapshot, bool onlyChanged, std::size_t room)
{
    CMemoryBuffer buffer(static_cast<int>(std::min(room, largestToConsole)), true);
    snapshot.pack(buffer, onlyChanged);
    return buffer.size == 0 ? std::string()
                            : std::string(buffer.data, buffer.data + static_cast<std::size_t>(buffer.size));
}

void unpack(CStatSnapshot & snapshot, std::string_view bytes)
{
    if (bytes.empty())
        throw CDamagedSnapshot("there are no bytes");
    if (bytes.size() > INT_MAX)
        throw CDamagedSnapshot("too large");
    CMemoryBuffer buffer(bytes.data(), static_cast<int>(bytes.size()));
    try {
        snapshot.unpack(buffer);
    } catch (ktools::CException * raised) {
        std::unique_ptr<ktools::CException> const exception(raised);
        throw CDamagedSnapshot(exception && exception->code == 1 ? "the bytes end early"
                                                                 : "the bytes don't fit the statistics");
    }
    // The reader leaves the last end mark; one where nothing changed is that mark alone.
    std::string_view const rest = bytes.substr(static_cast<std::size_t>(buffer.readPosition));
    if (bytes != endMark && rest != endMark)
        throw CDamagedSnapshot(rest.empty() ? "the bytes end early" : "there are bytes behind its end");
}

unsigned int framesOf(CStatSnapshot const & snapshot)
{
    auto const & root = dynamic_cast<KetStats::CAgentStatistic const &>(*snapshot.getStat("1"));
    return root.globalStatistics.transmittedFrames.get();
}

} // namespace ketmon
