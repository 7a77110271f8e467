#pragma once

#include "host/capture/LinkType.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ketmon {

class CFrameBlock;

// A captured frame. The bytes are the source's and stay until it is asked for the next frame.
struct CCapturedFrame
{
    unsigned char const * data;
    unsigned int capturedLength;
    unsigned int length; // on the wire
    long long ticks;     // when it was captured, in units of 100 ns since 1601-01-01 UTC
    std::uint32_t linkType = linktype::ethernet;
};

// What of an input wasn't given as frames, and why.
struct CSourceFaults
{
    // What couldn't be read, or not to its end: a sentence each, which begins with the name of the file.
    std::vector<std::string> damage;
    // Files that grew while they were read and end within a record: somebody still writes there.
    std::vector<std::string> unfinished;
    // Frames that can't be counted, or not together with those that were, by the number of their link type.
    std::map<std::uint32_t, std::uint64_t> leftOut;
};

// Where frames come from.
class CCaptureSource
{
public:
    CCaptureSource() = default;
    CCaptureSource(CCaptureSource const &) = delete;
    CCaptureSource & operator=(CCaptureSource const &) = delete;
    virtual ~CCaptureSource() = default;

    // Fetches the next frame; false at the end. Throws CFailure if the input can't be read on.
    virtual bool next(CCapturedFrame & frame) = 0;

    // Fetches the next frames: one, as `next` does, and as many more of the same link type as are at hand
    // without waiting. The block is emptied before, and stays so at the end; its frames stay until the source
    // is asked for more.
    virtual void nextBlock(CFrameBlock & block);

    // Has `next` yield false soon, even while it waits for a frame. Any thread may call it.
    virtual void stop() {}

    // How much of the input was read so far and how much there is, in bytes; both 0 if that can't be told.
    virtual std::uint64_t position() const { return 0; }
    virtual std::uint64_t size() const { return 0; }

    // The link type of its frames; of the first where they have several, which are of one family then.
    // Nothing as long as it isn't known. Any thread may ask.
    virtual std::optional<std::uint32_t> linkType() const { return linktype::ethernet; }

    // By now.
    virtual CSourceFaults faults() const { return {}; }
};

} // namespace ketmon
