#pragma once

#include "host/capture/CaptureSource.h"

#include <cstdint>
#include <stdexcept>
#include <string>

namespace ketmon {

// What is wrong with a capture file, in a few words.
class CDamagedCapture : public std::runtime_error
{
public:
    explicit CDamagedCapture(std::string const & what, bool cut = false)
        : std::runtime_error(what),
          m_cut(cut)
    {}

    // Whether there is nothing wrong but that the file ends too early, as one does that is still written to.
    bool isCut() const { return m_cut; }

private:
    bool m_cut;
};

inline CDamagedCapture cutCapture(std::string const & what)
{
    return CDamagedCapture(what, true);
}

// Takes a capture file of one format apart.
class CFrameReader
{
public:
    enum class Step
    {
        end,
        description, // of an interface, whose link type is told now
        frame,
    };

    CFrameReader() = default;
    CFrameReader(CFrameReader const &) = delete;
    CFrameReader & operator=(CFrameReader const &) = delete;
    virtual ~CFrameReader() = default;

    // Goes on to the next thing that is of interest; the bytes of a frame stay until then. Throws CFailure for
    // a file that can't be read on, and CDamagedCapture.
    virtual Step next(CCapturedFrame & frame) = 0;

    // Whether the next thing is a frame that lies whole in memory, so that it can be fetched while those that were
    // fetched before stay as well.
    virtual bool isAtHand() const = 0;

    // The number by which the file names the link type of what `next` gave last.
    virtual std::uint32_t linkType() const = 0;
};

} // namespace ketmon
