#include "host/support/ByteSource.h"

#include "host/support/Failure.h"

#include <fmt/core.h>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ketmon {

namespace {

class CFileSource : public CByteSource
{
public:
    explicit CFileSource(std::string const & path) : m_path(path)
    {
        if (path != standardInput)
            m_handle = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (m_handle < 0)
            fail();
        struct stat about
        {};
        if (fstat(m_handle, &about) != 0)
            fail();
        if (S_ISDIR(about.st_mode))
            throw CFailure(exitBadInput, fmt::format("{}: is a directory", path));
        if (S_ISREG(about.st_mode))
            m_size = static_cast<std::uint64_t>(about.st_size);
    }

    ~CFileSource() override
    {
        if (m_handle != STDIN_FILENO)
            close(m_handle);
    }

    std::size_t read(unsigned char * bytes, std::size_t most) override
    {
        ssize_t got = -1;
        do
            got = ::read(m_handle, bytes, most);
        while (got < 0 && errno == EINTR);
        if (got < 0)
            fail();
        m_position += static_cast<std::uint64_t>(got);
        return static_cast<std::size_t>(got);
    }

    std::uint64_t position() const override { return m_size == 0 ? 0 : m_position; }
    std::uint64_t size() const override { return m_size; }

private:
    [[noreturn]] void fail() const
    {
        throw CFailure(exitBadInput, fmt::format("{}: {}", m_path, std::strerror(errno)));
    }

    std::string m_path;
    int m_handle = STDIN_FILENO;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
};

} // namespace

std::unique_ptr<CByteSource> openByteSource(std::string const & path)
{
    return std::make_unique<CFileSource>(path);
}

} // namespace ketmon
