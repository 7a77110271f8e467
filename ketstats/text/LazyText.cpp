#include "ketstats/text/LazyText.h"

#include <atomic>
#include <mutex>

namespace KetStats {

namespace {

std::mutex loading;

} // namespace

void loadTexts(std::initializer_list<std::string *> texts, unsigned int & resourceId, unsigned int fallback)
{
    std::atomic_ref<unsigned int> const pending(resourceId);
    if (pending.load(std::memory_order_acquire) == 0)
        return;
    std::lock_guard const lock(loading);
    unsigned int id = pending.load(std::memory_order_relaxed);
    if (id == 0)
        return;
    for (std::string * const text : texts) {
        *text = textOf(id++);
        if (text->empty())
            *text = textOf(fallback);
    }
    pending.store(0, std::memory_order_release);
}

} // namespace KetStats
