#include "host/support/Memory.h"

#include <array>
#include <charconv>

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

namespace ketmon {

// The file has numbers of pages: all of the process, what is resident, and others.
std::size_t residentMemory()
{
    int const file = open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    if (file == -1)
        return 0;
    std::array<char, 128> text;
    ssize_t const length = read(file, text.data(), text.size());
    close(file);
    if (length <= 0)
        return 0;
    char const * const end = text.data() + length;
    std::size_t all = 0;
    std::size_t resident = 0;
    auto const first = std::from_chars(text.data(), end, all);
    if (first.ptr == end || std::from_chars(first.ptr + 1, end, resident).ec != std::errc())
        return 0;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void returnFreeMemory()
{
    malloc_trim(0);
}

} // namespace ketmon
