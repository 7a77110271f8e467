#pragma once

#include <atomic>

namespace ketmon {

// Ends what waits for bytes, from another thread. Once raised it stays so.
class CInterrupt
{
public:
    // Throws CFailure, exit code 1, where the system has no means left to wake a thread.
    CInterrupt();
    ~CInterrupt();
    CInterrupt(CInterrupt const &) = delete;
    CInterrupt & operator=(CInterrupt const &) = delete;

    // Any thread may call these.
    void raise() noexcept;
    bool raised() const noexcept { return m_raised.load(std::memory_order_acquire); }

    // Where threads wait for descriptors: one that is readable once it was raised; elsewhere -1.
    int descriptor() const noexcept { return m_descriptor; }

private:
    std::atomic<bool> m_raised{false};
    int m_descriptor = -1;
};

} // namespace ketmon
