#include "host/support/LargeMemory.h"

#include <sys/mman.h>

namespace ketmon {

void adviseLargePages([[maybe_unused]] void * memory, [[maybe_unused]] std::size_t size)
{
#if defined(MADV_HUGEPAGE)
    static_cast<void>(madvise(memory, size, MADV_HUGEPAGE));
#endif
}

} // namespace ketmon
