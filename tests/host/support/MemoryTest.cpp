#include "host/support/Memory.h"
#include "tests/host/Sandboxed.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

using ketmon::residentMemory;
using ketmon::returnFreeMemory;

namespace {

constexpr std::size_t MiB = 1 << 20;

TEST(ResidentMemory, GrowsByWhatIsWrittenTo)
{
    std::size_t const before = residentMemory().value();
    ASSERT_GT(before, 0U);

    std::vector<char> const block(64 * MiB, 'x');

    EXPECT_GE(residentMemory(), before + 60 * MiB) << block.size();
}

// The ceiling of a program that has no descriptor left holds all the same.
TEST(ResidentMemory, NeedsNoDescriptorOnceItWasAsked)
{
    ASSERT_TRUE(residentMemory());
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit const none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);

    std::optional<std::size_t> const known = residentMemory();

    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    ASSERT_TRUE(known);
    EXPECT_GT(*known, MiB);
}

TEST(ResidentMemory, IsNothingWhereItCanNotBeTold)
{
    // In a process of its own, which has asked for nothing yet.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const ask = [] {
        rlimit none{};
        setrlimit(RLIMIT_NOFILE, &none);
        _exit(residentMemory() ? 1 : 0);
    };

    EXPECT_EXIT(ask(), testing::ExitedWithCode(0), "");
}

// Small blocks, every hundredth of which stays, are what a heap alone keeps for ever.
TEST(ReturnFreeMemory, GivesBackWhatLiesBetweenBlocksThatStay)
{
    if (test::sanitized())
        GTEST_SKIP() << "the memory is that of the sanitizer";
    std::vector<std::unique_ptr<char[]>> blocks(64 * 1024);
    std::size_t const before = residentMemory().value();
    for (auto & block : blocks) {
        block = std::make_unique<char[]>(1024);
        std::memset(block.get(), 'x', 1024);
    }
    ASSERT_GE(residentMemory(), before + 60 * MiB);

    for (std::size_t i = 0; i < blocks.size(); ++i)
        if (i % 100 != 0)
            blocks[i].reset();
    returnFreeMemory();

    EXPECT_LE(residentMemory(), before + 16 * MiB);
}

} // namespace
