#pragma once

#include <cstddef>
#include <new>

namespace ketmon {

// Asks the system for large pages where `size` bytes lie. It may have none, and then nothing is different.
void adviseLargePages(void * memory, std::size_t size);

// For containers of many megabytes that are gone through: where a page holds four thousand bytes, finding the pages
// takes as long as what is done with a frame.
template <class T>
struct CLargeAllocator
{
    using value_type = T;

    CLargeAllocator() = default;
    template <class Other>
    CLargeAllocator(CLargeAllocator<Other> const &)
    {}

    T * allocate(std::size_t count)
    {
        void * const memory = ::operator new(count * sizeof(T), alignment);
        adviseLargePages(memory, count * sizeof(T));
        return static_cast<T *>(memory);
    }
    void deallocate(T * memory, std::size_t) { ::operator delete(memory, alignment); }

    friend bool operator==(CLargeAllocator const &, CLargeAllocator const &) { return true; }

private:
    static constexpr std::align_val_t alignment{std::size_t{2} << 20};
};

} // namespace ketmon
