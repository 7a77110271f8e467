#pragma once

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace test {

// A named pipe to which the test writes, or doesn't. Gone with the object.
class Fifo
{
public:
    Fifo()
    {
        static unsigned int count = 0;
        m_path = (std::filesystem::temp_directory_path() /
                  ("ketmon-pipe-" + std::to_string(getpid()) + '-' + std::to_string(++count)))
                     .string();
        if (mkfifo(m_path.c_str(), 0600) != 0)
            throw std::runtime_error("no named pipe");
    }
    ~Fifo()
    {
        hangUp();
        unlink(m_path.c_str());
    }
    Fifo(Fifo const &) = delete;
    Fifo & operator=(Fifo const &) = delete;

    std::string const & path() const { return m_path; }

    // Writes that, which a pipe must be able to hold, and keeps the pipe open.
    void write(std::string const & bytes)
    {
        if (m_handle < 0)
            m_handle = open(m_path.c_str(), O_RDWR | O_CLOEXEC); // which needs no reader yet
        if (::write(m_handle, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("the named pipe is full");
    }

    // Waits until all that was written is read; false if it takes ever so long.
    bool waitUntilRead() const
    {
        for (unsigned int tries = 0; tries < 10000; ++tries) {
            int waiting = 0;
            if (m_handle < 0 || (ioctl(m_handle, FIONREAD, &waiting) == 0 && waiting == 0))
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }

    void hangUp()
    {
        if (m_handle >= 0)
            close(m_handle);
        m_handle = -1;
    }

private:
    std::string m_path;
    int m_handle = -1;
};

} // namespace test
