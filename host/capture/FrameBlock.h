#pragma once

#include "host/capture/CaptureSource.h"

#include "ketstats/capture/FrameView.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace ketmon {

// Frames of one link type that lie in memory at the same time, as they are counted.
class CFrameBlock
{
public:
    static constexpr std::size_t capacity = 256;

    bool full() const { return m_size >= m_most; }
    std::size_t size() const { return m_size; }
    // How many frames it takes, `capacity` at first: whoever wants no more than that has none fetched in vain.
    std::size_t most() const { return m_most; }
    void setMost(std::size_t count) { m_most = std::clamp<std::size_t>(count, 1, capacity); }

    void clear() { m_size = 0; }
    // There must be room, and its link type be that of the others.
    void add(CCapturedFrame const & frame)
    {
        m_linkType = frame.linkType;
        m_views[m_size] = {frame.data, frame.capturedLength, frame.length};
        m_ticks[m_size] = frame.ticks;
        ++m_size;
    }

    // Of its frames; it says nothing while there is none.
    std::uint32_t linkType() const { return m_linkType; }

    std::span<CFrameView const> views() const { return std::span(m_views).first(m_size); }
    std::span<long long const> ticks() const { return std::span(m_ticks).first(m_size); }
    CCapturedFrame frame(std::size_t index) const
    {
        CFrameView const & view = m_views[index];
        return {static_cast<unsigned char const *>(view.data), view.capturedLength, view.length,
                m_ticks[index], m_linkType};
    }

private:
    std::size_t m_size = 0;
    std::size_t m_most = capacity;
    std::uint32_t m_linkType = linktype::ethernet;
    std::array<CFrameView, capacity> m_views;
    std::array<long long, capacity> m_ticks;
};

} // namespace ketmon
