#include "host/capture/LoadedCapture.h"

#include "host/capture/CaptureFiles.h"

#include <algorithm>

namespace ketmon {

CSourceFaults CLoadedCapture::load(std::vector<std::string> const & paths)
{
    CCaptureFiles source(paths);
    // As much as the files have, unless they are compressed.
    m_bytes.reserve(m_bytes.size() + static_cast<std::size_t>(source.size()));
    CCapturedFrame frame{};
    while (source.next(frame)) {
        add(frame.data, frame.capturedLength, frame.length);
        if (frame.linkType != linktype::ethernet)
            m_linkTypes.push_back(frame.linkType);
    }
    return source.faults();
}

void CLoadedCapture::add(unsigned char const * data, unsigned int capturedLength, unsigned int length)
{
    m_frames.push_back({m_bytes.size(), capturedLength, length});
    m_bytes.insert(m_bytes.end(), data, data + capturedLength);
}

void CLoadedCapture::repeat(std::size_t count)
{
    std::size_t const own = m_frames.size();
    for (std::size_t i = 0; own != 0 && m_frames.size() < count; ++i) {
        CFrameAt const & frame = m_frames[i % own];
        std::size_t const offset = m_bytes.size();
        m_bytes.resize(offset + frame.capturedLength);
        std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(frame.offset), frame.capturedLength,
                    m_bytes.begin() + static_cast<std::ptrdiff_t>(offset));
        m_frames.push_back({offset, frame.capturedLength, frame.length});
        if (!isEthernet())
            m_linkTypes.push_back(m_linkTypes[i % own]);
    }
}

std::vector<CFrameView> CLoadedCapture::views() const
{
    std::vector<CFrameView> result;
    result.reserve(m_frames.size());
    for (CFrameAt const & frame : m_frames)
        result.push_back({m_bytes.data() + frame.offset, frame.capturedLength, frame.length});
    return result;
}

} // namespace ketmon
