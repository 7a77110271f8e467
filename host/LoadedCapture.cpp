#include "host/LoadedCapture.h"

#include "host/PcapFile.h"

namespace ketmon {

void CLoadedCapture::load(std::string const & path)
{
    CPcapFile source(path);
    CCapturedFrame frame{};
    while (source.next(frame)) {
        m_frames.push_back({m_bytes.size(), frame.capturedLength, frame.length});
        m_bytes.insert(m_bytes.end(), frame.data, frame.data + frame.capturedLength);
    }
}

} // namespace ketmon
