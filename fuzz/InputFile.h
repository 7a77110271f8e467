#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace fuzz {

// A file in memory that takes one input after the other: for readers that want a path, much quicker than a
// file on a disk.
class CInputFile
{
public:
    CInputFile()
        : m_handle(memfd_create("input", MFD_CLOEXEC)),
          m_path("/proc/self/fd/" + std::to_string(m_handle))
    {}
    ~CInputFile() { close(m_handle); }
    CInputFile(CInputFile const &) = delete;
    CInputFile & operator=(CInputFile const &) = delete;

    // The path of the file, which now has these bytes.
    std::string const & with(std::string_view bytes) const
    {
        if (ftruncate(m_handle, 0) != 0 ||
            pwrite(m_handle, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("no file in memory");
        return m_path;
    }

private:
    int m_handle;
    std::string m_path;
};

} // namespace fuzz
