#pragma once

#include "host/capture/CaptureSource.h"

#include <cstdint>
#include <stdexcept>

namespace ketmon {

// What is wrong with a capture file, in a few words.
class CDamagedCapture : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// Takes a capture file of one format apart.
class CFrameReader
{
public:
    CFrameReader() = default;
    CFrameReader(CFrameReader const &) = delete;
    CFrameReader & operator=(CFrameReader const &) = delete;
    virtual ~CFrameReader() = default;

    // As `CCaptureSource::next`, but throws CDamagedCapture as well.
    virtual bool next(CCapturedFrame & frame) = 0;

    // The number by which the file names the link type of its frames.
    virtual std::uint32_t linkType() const = 0;
};

} // namespace ketmon
