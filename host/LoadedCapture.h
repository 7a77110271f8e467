#pragma once

#include "host/CaptureSource.h"

#include <string>
#include <vector>

namespace ketmon {

// All frames of a capture file in memory, one behind the other.
class CLoadedCapture
{
public:
    struct CFrameAt
    {
        std::size_t offset;
        unsigned int capturedLength;
        unsigned int length;
    };

    // Appends the frames of a file. Throws CFailure.
    void load(std::string const & path);

    std::vector<CFrameAt> const & frames() const { return m_frames; }
    unsigned char const * data(CFrameAt const & frame) const { return m_bytes.data() + frame.offset; }

private:
    std::vector<CFrameAt> m_frames;
    std::vector<unsigned char> m_bytes;
};

} // namespace ketmon
