#include "ketstats/engine/ReadWriteGate.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <thread>

using namespace KetStats;

// Threads that are cancelled while they wait at the gate.

namespace {

template <class Guard>
struct Waiting
{
    // A cancelled thread never returns from here, which the address sanitizer would hold against its stack's next
    // user.
    [[gnu::no_sanitize_address]] static void * run(void * argument)
    {
        auto & self = *static_cast<Waiting *>(argument);
        {
            Guard const guard(self.gate);
            self.hadItsTurn = true;
        }
        pthread_testcancel();
        self.wentOn = true;
        return nullptr;
    }

    CReadWriteGate & gate;
    bool hadItsTurn = false;
    bool wentOn = false;
};

template <class Guard>
void cancelAtTheGate()
{
    CReadWriteGate gate;
    Waiting<Guard> waiting{gate};
    pthread_t thread{};
    gate.enterWriter();
    ASSERT_EQ(pthread_create(&thread, nullptr, &Waiting<Guard>::run, &waiting), 0);
    while (gate.waiting() == 0)
        std::this_thread::yield();

    pthread_cancel(thread);
    gate.leaveWriter();
    void * result = nullptr;
    pthread_join(thread, &result);

    // A gate that takes it for waiting still would never be free again.
    ASSERT_TRUE(waiting.hadItsTurn);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_FALSE(waiting.wentOn);
    EXPECT_EQ(gate.waiting(), 0U);
    CWriteGuard const usable(gate);
}

TEST(CancelledThread, LeavesTheGateUsableWhenItWaitedAsAWriter)
{
    cancelAtTheGate<CWriteGuard>();
}

TEST(CancelledThread, LeavesTheGateUsableWhenItWaitedAsAReader)
{
    cancelAtTheGate<CReadGuard>();
}

} // namespace
