#include "host/support/LargeMemory.h"

namespace ketmon {

// There they need a right that nobody has unasked.
void adviseLargePages(void * /*memory*/, std::size_t /*size*/) {}

} // namespace ketmon
