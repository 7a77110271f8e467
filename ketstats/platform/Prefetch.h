#pragma once

#include <cstddef>
#include <cstdint>

namespace KetStats::platform {

// Has the processor fetch what lies there, to be read soon. There may be nothing.
inline void prefetch(void const * memory, std::size_t size)
{
#if defined(__GNUC__)
    constexpr std::size_t line = 64;
    auto const first = reinterpret_cast<std::uintptr_t>(memory);
    for (std::size_t offset = 0; offset < size; offset += line)
        __builtin_prefetch(reinterpret_cast<void const *>(first + offset));
#else
    static_cast<void>(memory);
    static_cast<void>(size);
#endif
}

} // namespace KetStats::platform
