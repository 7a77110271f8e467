#pragma once

#include "host/capture/CaptureSource.h"
#include "host/support/ByteFile.h"

#include <cstdint>
#include <string>

namespace ketmon {

// Writes frames of Ethernet to a capture file of the classic format, little-endian, with stamps of
// nanoseconds.
//
// 1. Under its name a file stands only when it is whole: until `finish` the frames go to another beside it,
//    with ".part" behind its name, which is gone if the writer ends without `finish`. So the file that frames
//    are read from may be the one that is written.
// 2. What has that other name already stays as it is; ".part2" and so on are tried then.
// 3. Of a link it is the file behind it that is replaced. A file that is protected against writing isn't.
// 4. Devices and pipes are written to directly, and so is what a link leads to that isn't there yet.
class CCaptureWriter
{
public:
    // This and the other operations throw CFailure, exit code 1, for what can't be written.
    explicit CCaptureWriter(std::string const & path);

    // Appends a frame. The format has no room for more than 262144 captured bytes and for moments before
    // 1970-01-01 or behind 2038-01-19 03:14:07 UTC, on which readers disagree; such a frame throws, too.
    void write(CCapturedFrame const & frame);

    // Makes the file whole. Nothing may be written behind it.
    void finish();

    std::uint64_t frames() const { return m_frames; }

private:
    // The name of a file that is removed with it, if there is one.
    struct CUnfinished
    {
        explicit CUnfinished(std::string const & name) : path(name) {}
        ~CUnfinished();
        CUnfinished(CUnfinished const &) = delete;
        CUnfinished & operator=(CUnfinished const &) = delete;

        std::string path;
    };

    void append(unsigned char const * bytes, std::size_t count);
    [[noreturn]] void fail(std::string const & reason) const;

    std::string m_path;   // as it was given
    std::string m_target; // the same behind all links
    CUnfinished m_unfinished;
    CFileHandle m_file; // is closed before the file is removed, as some systems want it
    std::uint64_t m_frames = 0;
};

} // namespace ketmon
