#pragma once

#include "host/support/ByteSource.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace ketmon {

// The bytes of a source in pieces as long as somebody wants them, where they lie: nothing is copied but what
// one block of the source left of a piece.
//
// It holds about as much as the longest piece that was asked for, and at least a block, but never more than
// twice what there was to read, whatever a damaged file claims.
class CByteInput
{
public:
    using Bytes = std::span<unsigned char const>;

    explicit CByteInput(std::unique_ptr<CByteSource> source);

    // The next bytes; fewer than `count` only at the end. Their address isn't null, and they stay until the
    // next call. Throws what the source throws.
    Bytes take(std::size_t count);
    // The same, but they are the next bytes still.
    Bytes look(std::size_t count);
    // Those that are in memory already: fetching so many of them moves none.
    Bytes atHand() const { return {m_buffer.data() + m_begin, available()}; }
    // What there is without waiting, at most `most`; waits if there is nothing. Empty at the end.
    Bytes some(std::size_t most);

    // Bytes taken so far, and bytes there are; both 0 where that can't be told.
    std::uint64_t position() const { return size() == 0 ? 0 : m_position; }
    std::uint64_t size() const { return m_source->size(); }

    // How far the source is.
    CByteSource const & source() const { return *m_source; }

private:
    std::size_t available() const { return m_end - m_begin; }
    bool fill(std::size_t wanted);

    std::unique_ptr<CByteSource> m_source;
    std::vector<unsigned char> m_buffer;
    std::size_t m_begin = 0; // of what wasn't taken yet
    std::size_t m_end = 0;
    std::uint64_t m_position = 0;
};

} // namespace ketmon
