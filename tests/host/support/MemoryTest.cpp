#include "host/support/Memory.h"
#include "tests/host/Sandboxed.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

using ketmon::residentMemory;
using ketmon::returnFreeMemory;

namespace {

constexpr std::size_t MiB = 1 << 20;

TEST(ResidentMemory, GrowsByWhatIsWrittenTo)
{
    std::size_t const before = residentMemory();
    ASSERT_GT(before, 0U);

    std::vector<char> const block(64 * MiB, 'x');

    EXPECT_GE(residentMemory(), before + 60 * MiB) << block.size();
}

// Small blocks, every hundredth of which stays, are what a heap alone keeps for ever.
TEST(ReturnFreeMemory, GivesBackWhatLiesBetweenBlocksThatStay)
{
    if (test::sanitized())
        GTEST_SKIP() << "the memory is that of the sanitizer";
    std::vector<std::unique_ptr<char[]>> blocks(64 * 1024);
    std::size_t const before = residentMemory();
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
