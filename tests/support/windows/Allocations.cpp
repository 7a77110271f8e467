#include "tests/support/Allocations.h"

#include "tests/support/windows/Imports.h"

#include <stdexcept>

// A program can't replace operator new for the libraries that it loads. All of them use that of the
// compiler's runtime, so what it takes from the heap below is counted.

namespace {

using Malloc = void * (*)(std::size_t size);
using AlignedMalloc = void * (*)(std::size_t size, std::size_t alignment);

thread_local long allocations = 0;
thread_local long left = -1; // until they fail; below 0 for no end

bool memoryIsLeft()
{
    ++allocations;
    return left < 0 || (left > 0 && left-- > 0);
}

void * countedMalloc(std::size_t size);
void * countedAlignedMalloc(std::size_t size, std::size_t alignment);

template <class Function>
Function replaceInRuntime(char const * name, Function replacement)
{
    void * const before =
        test::replaceImport(GetModuleHandleA("libstdc++-6.dll"), name, reinterpret_cast<void *>(replacement));
    if (!before)
        throw std::runtime_error("the runtime doesn't allocate by this function");
    return reinterpret_cast<Function>(before);
}

Malloc const systemMalloc = replaceInRuntime("malloc", &countedMalloc);
AlignedMalloc const systemAlignedMalloc = replaceInRuntime("_aligned_malloc", &countedAlignedMalloc);

void * countedMalloc(std::size_t size)
{
    return memoryIsLeft() ? systemMalloc(size) : nullptr;
}

void * countedAlignedMalloc(std::size_t size, std::size_t alignment)
{
    return memoryIsLeft() ? systemAlignedMalloc(size, alignment) : nullptr;
}

} // namespace

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
