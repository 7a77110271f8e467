#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace ketmon {

class CInterrupt;

// Bytes from somewhere, read once from the first to the last: a file, a pipe, what is unpacked from another.
class CByteSource
{
public:
    CByteSource() = default;
    CByteSource(CByteSource const &) = delete;
    CByteSource & operator=(CByteSource const &) = delete;
    virtual ~CByteSource() = default;

    // Reads up to so many bytes, and waits only while there is none at all; 0 at the end, which a file that is
    // still written to may have behind it the next time. Throws CFailure, exit code 2, for what can't be read
    // on.
    virtual std::size_t read(unsigned char * bytes, std::size_t most) = 0;

    // Bytes read so far, and bytes there were when it was opened; both 0 where that can't be told.
    virtual std::uint64_t position() const { return 0; }
    virtual std::uint64_t size() const { return 0; }
};

// What stands for the standard input among files; a file of that name is "./-".
inline constexpr char standardInput[] = "-";

// Opens a file, a pipe or a device, or the standard input, and waits for none. Once `interrupt`, which must
// outlive the source, is raised, `read` yields 0, also where it waits; null if nobody interrupts. Throws
// CFailure, exit code 2, for a directory and for what can't be opened.
std::unique_ptr<CByteSource> openByteSource(std::string const & path, CInterrupt const * interrupt = nullptr);

} // namespace ketmon
