#include "tests/support/Allocations.h"

#include <cstdlib>
#include <new>

// The program's own operator new, which the shared libraries use too.

namespace {

thread_local long allocations = 0;
thread_local long left = -1; // until they fail; below 0 for no end

bool memoryIsLeft()
{
    ++allocations;
    return left < 0 || (left > 0 && left-- > 0);
}

void * allocate(std::size_t size)
{
    return memoryIsLeft() ? std::malloc(size ? size : 1) : nullptr;
}

void * allocateAligned(std::size_t size, std::align_val_t alignment)
{
    auto const bytes = static_cast<std::size_t>(alignment);
    if (memoryIsLeft())
        if (void * const block = std::aligned_alloc(bytes, (size + bytes - 1) / bytes * bytes))
            return block;
    throw std::bad_alloc();
}

void * allocateOrThrow(std::size_t size)
{
    if (void * const block = allocate(size))
        return block;
    throw std::bad_alloc();
}

} // namespace

void * operator new(std::size_t size)
{
    return allocateOrThrow(size);
}
void * operator new[](std::size_t size)
{
    return allocateOrThrow(size);
}
void * operator new(std::size_t size, std::nothrow_t const &) noexcept
{
    return allocate(size);
}
void * operator new[](std::size_t size, std::nothrow_t const &) noexcept
{
    return allocate(size);
}
void * operator new(std::size_t size, std::align_val_t alignment)
{
    return allocateAligned(size, alignment);
}
void operator delete(void * block, std::align_val_t) noexcept
{
    std::free(block);
}
void operator delete(void * block, std::size_t, std::align_val_t) noexcept
{
    std::free(block);
}
void operator delete(void * block) noexcept
{
    std::free(block);
}
void operator delete[](void * block) noexcept
{
    std::free(block);
}
void operator delete(void * block, std::size_t) noexcept
{
    std::free(block);
}
void operator delete[](void * block, std::size_t) noexcept
{
    std::free(block);
}
void operator delete(void * block, std::nothrow_t const &) noexcept
{
    std::free(block);
}
void operator delete[](void * block, std::nothrow_t const &) noexcept
{
    std::free(block);
}

namespace test {

Allocations::Allocations() : m_before(allocations) {}

long Allocations::count() const
{
    return allocations - m_before;
}

MemoryRunsOut::MemoryRunsOut(long after)
{
    left = after;
}

MemoryRunsOut::~MemoryRunsOut()
{
    left = -1;
}

} // namespace test
