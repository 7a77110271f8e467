#include "host/support/ByteSource.h"

#include "host/support/Failure.h"

#include <fmt/core.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

namespace ketmon {

namespace {

constexpr int standardHandle = 0;

class CFileSource : public CByteSource
{
public:
    explicit CFileSource(std::string const & path) : m_path(path)
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

    std::string m_path;
    int m_handle = standardHandle;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
};

} // namespace

std::unique_ptr<CByteSource> openByteSource(std::string const & path)
{
    return std::make_unique<CFileSource>(path);
}

} // namespace ketmon
