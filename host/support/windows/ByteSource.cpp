#include "host/support/ByteSource.h"

#include "host/support/Failure.h"
#include "host/support/Interrupt.h"

#include <fmt/core.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

namespace ketmon {

namespace {

constexpr int standardHandle = 0;
constexpr DWORD patience = 20; // milliseconds between two looks at a pipe

class CFileSource : public CByteSource
{
public:
    CFileSource(std::string const & path, CInterrupt const * interrupt) : m_path(path), m_interrupt(interrupt)
    {
        // Here a directory can't be opened, and the reason would be a puzzle.
        std::error_code error;
        if (path != standardInput && std::filesystem::is_directory(path, error))
            throw CFailure(exitBadInput, fmt::format("{}: is a directory", path));
        if (path != standardInput)
            m_handle = _open(path.c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT);
        else
            _setmode(standardHandle, _O_BINARY);
        if (m_handle < 0)
            fail();
        struct _stat64 about
        {};
        if (_fstat64(m_handle, &about) == 0 && (about.st_mode & _S_IFMT) == _S_IFREG)
            m_size = static_cast<std::uint64_t>(about.st_size);
    }

    ~CFileSource() override
    {
        if (m_handle != standardHandle)
            _close(m_handle);
    }

    std::size_t read(unsigned char * bytes, std::size_t most) override
    {
        if (!readable())
            return 0;
        int const got =
            _read(m_handle, bytes, static_cast<unsigned int>(std::min<std::size_t>(most, INT_MAX)));
        // A pipe whose writer went away is at its end.
        if (got < 0 && errno != EPIPE)
            fail();
        m_position += static_cast<std::uint64_t>(std::max(got, 0));
        return static_cast<std::size_t>(std::max(got, 0));
    }

    std::uint64_t position() const override { return m_size == 0 ? 0 : m_position; }
    std::uint64_t size() const override { return m_size; }

private:
    [[noreturn]] void fail() const
    {
        throw CFailure(exitBadInput, fmt::format("{}: {}", m_path, std::strerror(errno)));
    }

    // A read of a pipe can't be ended from another thread, so it waits until something is there, be it the
    // end; false if it was interrupted.
    bool readable() const
    {
        HANDLE const handle = reinterpret_cast<HANDLE>(_get_osfhandle(m_handle));
        bool const isPipe = m_interrupt && GetFileType(handle) == FILE_TYPE_PIPE;
        for (DWORD there = 0; isPipe && !m_interrupt->raised(); Sleep(patience))
            if (PeekNamedPipe(handle, nullptr, 0, nullptr, &there, nullptr) == 0 || there != 0)
                break;
        return !m_interrupt || !m_interrupt->raised();
    }

    std::string m_path;
    CInterrupt const * m_interrupt;
    int m_handle = standardHandle;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
};

} // namespace

std::unique_ptr<CByteSource> openByteSource(std::string const & path, CInterrupt const * interrupt)
{
    return std::make_unique<CFileSource>(path, interrupt);
}

} // namespace ketmon
