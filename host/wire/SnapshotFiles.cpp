#include "host/wire/SnapshotFiles.h"

#include "host/support/ByteInput.h"
#include "host/support/Failure.h"
#include "host/support/ReplacedFile.h"

#include <fmt/core.h>

#include <algorithm>

namespace ketmon {

namespace {

// More is none that was saved: a packed snapshot of the largest tables is smaller.
constexpr std::size_t longestFile = std::size_t{1} << 30;

struct CPlace
{
    std::string path;
    std::uint64_t recording;
    std::uint32_t sequence;
};

std::string_view textOf(CByteInput::Bytes bytes)
{
    return {reinterpret_cast<char const *>(bytes.data()), bytes.size()};
}

[[noreturn]] void fail(std::string const & message)
{
    throw CFailure(exitBadInput, message);
}

// `before` is the one in front of it; null for the first.
void checkPlace(CPlace const & place, CPlace const * before)
{
    if (!before && place.sequence != 0)
        fail(fmt::format("{}: is number {} of its recording and says only what changed; the full snapshot, "
                         "number 0, isn't among the files",
                         place.path, place.sequence));
    if (!before)
        return;
    if (place.recording != before->recording)
        fail(fmt::format("{}: belongs to another recording than {}", place.path, before->path));
    if (place.sequence == before->sequence)
        fail(fmt::format("{}: is number {} of the recording, as {} is", place.path, place.sequence,
                         before->path));
    if (place.sequence != before->sequence + 1)
        fail(fmt::format("{}: is number {} of the recording, and number {}, behind {}, isn't among the files",
                         place.path, place.sequence, before->sequence + 1, before->path));
}

} // namespace

void saveSnapshot(std::string const & path, CSavedSnapshot const & snapshot)
{
    std::string const bytes = encoded(snapshot);
    CReplacedFile file(path);
    file.append(bytes.data(), bytes.size());
    file.finish();
}

CSavedSnapshot loadSnapshot(std::string const & path)
{
    CByteInput input(openByteSource(path));
    try {
        // It isn't read to its end, which it may not have, but a byte further than its header says.
        std::string_view const start = textOf(input.look(savedSnapshotLengths));
        std::size_t const length = startsSavedSnapshot(start) ? savedSnapshotLength(start) : start.size();
        return parsedSavedSnapshot(textOf(input.take(std::min(length, longestFile) + 1)));
    } catch (CBadSavedSnapshot const & problem) {
        fail(fmt::format("{}: {}", path, problem.what()));
    }
}

std::vector<std::string> inOrder(std::vector<std::string> const & paths)
{
    std::vector<CPlace> places;
    for (std::string const & path : paths) {
        CSavedSnapshot const snapshot = loadSnapshot(path);
        places.push_back({path, snapshot.recording, snapshot.sequence});
    }
    std::stable_sort(places.begin(), places.end(),
                     [](CPlace const & one, CPlace const & other) { return one.sequence < other.sequence; });
    std::vector<std::string> sorted;
    CPlace const * before = nullptr;
    for (CPlace const & place : places) {
        checkPlace(place, before);
        before = &place;
        sorted.push_back(place.path);
    }
    return sorted;
}

} // namespace ketmon
