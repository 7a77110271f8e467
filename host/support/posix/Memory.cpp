#include "host/support/Memory.h"

#include <array>
#include <atomic>
#include <charconv>

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

namespace ketmon {

namespace {

// The file that has numbers of pages, all of the process, what is resident, and others; -1 where it can't be had.
// It stays open to the end.
int memoryFile()
{
    static std::atomic<int> kept{-1};
    int file = kept.load(std::memory_order_acquire);
    if (file != -1)
        return file;
    int const opened = open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    if (opened == -1 || kept.compare_exchange_strong(file, opened))
        return opened;
    // Another thread was first.
    close(opened);
    return file;
}

} // namespace

std::optional<std::size_t> residentMemory()
{
    std::array<char, 128> text;
    ssize_t const length = pread(memoryFile(), text.data(), text.size(), 0);
    if (length <= 0)
        return {};
    char const * const end = text.data() + length;
    std::size_t all = 0;
    std::size_t resident = 0;
    auto const first = std::from_chars(text.data(), end, all);
    if (first.ptr == end || std::from_chars(first.ptr + 1, end, resident).ec != std::errc())
        return {};
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void returnFreeMemory()
{
    malloc_trim(0);
}

} // namespace ketmon
