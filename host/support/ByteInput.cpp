#include "host/support/ByteInput.h"

#include <algorithm>

namespace ketmon {

namespace {

constexpr std::size_t block = std::size_t{1} << 18;

} // namespace

CByteInput::CByteInput(std::unique_ptr<CByteSource> source) : m_source(std::move(source)), m_buffer(block) {}

CByteInput::Bytes CByteInput::take(std::size_t count)
{
    Bytes const bytes = look(count);
    m_begin += bytes.size();
    m_position += bytes.size();
    return bytes;
}

CByteInput::Bytes CByteInput::look(std::size_t count)
{
    while (available() < count && fill(count)) {
    }
    return {m_buffer.data() + m_begin, std::min(count, available())};
}

CByteInput::Bytes CByteInput::some(std::size_t most)
{
    if (available() == 0)
        fill(1);
    return take(std::min(most, available()));
}

// Reads a block more. What wasn't taken yet moves to the front if it, and so many bytes, fit there.
bool CByteInput::fill(std::size_t wanted)
{
    if (m_begin + wanted > m_buffer.size() || m_end == m_buffer.size()) {
        std::copy(m_buffer.begin() + static_cast<std::ptrdiff_t>(m_begin),
                  m_buffer.begin() + static_cast<std::ptrdiff_t>(m_end), m_buffer.begin());
        m_end -= m_begin;
        m_begin = 0;
        if (m_end == m_buffer.size())
            m_buffer.resize(std::min(std::max(wanted, m_buffer.size()), m_end + block));
    }
    std::size_t const got = m_source->read(m_buffer.data() + m_end, m_buffer.size() - m_end);
    m_end += got;
    return got != 0;
}

} // namespace ketmon
