#pragma once

#include "host/capture/CaptureSource.h"
#include "host/capture/MediumFrame.h"
#include "host/support/LargeMemory.h"

#include "ketstats/capture/FrameView.h"
#include "ketstats/capture/NetworkFrame.h"

#include <cstddef>
#include <string>
#include <vector>

namespace ketmon {

// Frames in memory, one behind the other.
class CLoadedCapture
{
public:
    struct CFrameAt
    {
        std::size_t offset;
        unsigned int capturedLength;
        unsigned int length;
    };

    // Appends the frames of files, as CCaptureFiles gives them; tells what it couldn't. Throws CFailure.
    CSourceFaults load(std::vector<std::string> const & paths);
    CSourceFaults load(std::string const & path) { return load(std::vector<std::string>{path}); }
    // Appends a frame.
    void add(unsigned char const * data, unsigned int capturedLength, unsigned int length);
    // Appends its own frames again until there are `count`.
    void repeat(std::size_t count);

    std::vector<CFrameAt> const & frames() const { return m_frames; }

    // Whether they are of Ethernet, all or none.
    bool isEthernet() const { return m_linkTypes.empty(); }

    // All of them as plain views, for as long as nothing is appended.
    std::vector<CFrameView> views() const;

    // Calls `operation` with each frame of Ethernet in turn, through one frame object as a capture loop does
    // it. The headers of the frames that come next are fetched ahead: memory is slower than the counting.
    template <class Operation>
    void overFrames(Operation const & operation) const
    {
        constexpr std::size_t ahead = 8;
        constexpr std::size_t line = 64;
        CNetworkFrame frame;
        std::size_t const count = m_frames.size();
        for (std::size_t i = 0; i < count; ++i) {
            if (i + ahead < count) {
                unsigned char const * const next = m_bytes.data() + m_frames[i + ahead].offset;
                __builtin_prefetch(next);
                __builtin_prefetch(next + line);
            }
            CFrameAt const & at = m_frames[i];
            frame.Assign(m_bytes.data() + at.offset, at.capturedLength, at.length);
            operation(frame);
        }
    }

    // The same for frames of other media.
    template <class Operation>
    void overOthers(Operation const & operation) const
    {
        CMediumFrame frame;
        for (std::size_t i = 0; i < m_frames.size(); ++i) {
            CFrameAt const & at = m_frames[i];
            frame.assign({m_bytes.data() + at.offset, at.capturedLength, at.length, 0, m_linkTypes[i]});
            operation(frame);
        }
    }

private:
    std::vector<CFrameAt> m_frames;
    std::vector<std::uint32_t> m_linkTypes; // of them, unless they are of Ethernet
    std::vector<unsigned char, CLargeAllocator<unsigned char>> m_bytes;
};

} // namespace ketmon
