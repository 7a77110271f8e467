#include "host/support/ByteSource.h"

#include "host/support/Failure.h"
#include "host/support/Interrupt.h"

#include <fmt/core.h>

#include <cerrno>
#include <cstring>
#include <iterator>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ketmon {

namespace {

// Nothing waits here but `poll`, which an interrupt ends: a pipe without a writer is opened at once, and read
// when there is something to read. The standard input is shared with others and stays as they have it.
class CFileSource : public CByteSource
{
public:
    CFileSource(std::string const & path, CInterrupt const * interrupt) : m_path(path), m_interrupt(interrupt)
    {
        if (path != standardInput)
            m_handle = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
        if (m_handle < 0)
            fail();
        struct stat about
        {};
        if (fstat(m_handle, &about) != 0)
            fail();
        if (S_ISDIR(about.st_mode))
            throw CFailure(exitBadInput, fmt::format("{}: is a directory", path));
        m_waits = !S_ISREG(about.st_mode);
        if (!m_waits)
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
        do {
            if (!readable())
                return 0;
            got = ::read(m_handle, bytes, most);
        } while (got < 0 && (errno == EINTR || (errno == EAGAIN && m_waits)));
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

    // Waits until there is something to read, be it the end; false if it was interrupted.
    bool readable() const
    {
        if (m_waits && !(m_interrupt && m_interrupt->raised())) {
            pollfd waited[] = {{m_handle, POLLIN, 0},
                               {m_interrupt ? m_interrupt->descriptor() : -1, POLLIN, 0}};
            while (poll(waited, std::size(waited), -1) < 0)
                if (errno != EINTR)
                    fail();
        }
        return !m_interrupt || !m_interrupt->raised();
    }

    std::string m_path;
    CInterrupt const * m_interrupt;
    int m_handle = STDIN_FILENO;
    bool m_waits = false;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
};

} // namespace

std::unique_ptr<CByteSource> openByteSource(std::string const & path, CInterrupt const * interrupt)
{
    return std::make_unique<CFileSource>(path, interrupt);
}

} // namespace ketmon
