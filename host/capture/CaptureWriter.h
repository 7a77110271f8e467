#pragma once

#include "host/capture/CaptureSource.h"
#include "host/support/ReplacedFile.h"

#include <cstdint>
#include <optional>
#include <string>

namespace ketmon {

// Writes frames to a capture file of the classic format, little-endian, with stamps of nanoseconds. Its link
// type is that of the first frame, Ethernet if there is none.
//
// The file takes the place of one that is there, as CReplacedFile does it. So the file that frames are read
// from may be the one that is written.
class CCaptureWriter
{
public:
    // This and the other operations throw CFailure, exit code 1, for what can't be written.
    explicit CCaptureWriter(std::string const & path) : m_file(path) {}

    // Appends a frame. The format has no room for more than 262144 captured bytes and for moments before
    // 1970-01-01 or behind 2038-01-19 03:14:07 UTC, on which readers disagree; such a frame throws, too, and
    // so does one of another link type than the first.
    void write(CCapturedFrame const & frame);

    // Makes the file whole. Nothing may be written behind it.
    void finish();

    std::uint64_t frames() const { return m_frames; }

private:
    void begin(std::uint32_t linkType);
    [[noreturn]] void fail(std::string const & reason) const;

    CReplacedFile m_file;
    std::uint64_t m_frames = 0;
    std::optional<std::uint32_t> m_linkType; // once the header is written
};

} // namespace ketmon
