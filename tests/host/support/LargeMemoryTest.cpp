#include "host/support/LargeMemory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <vector>

using Large = std::vector<std::uint32_t, ketmon::CLargeAllocator<std::uint32_t>>;

namespace {

TEST(LargeMemory, KeepsWhatIsPutThereAsItGrows)
{
    Large numbers;
    for (std::uint32_t number = 0; number < 3'000'000; ++number)
        numbers.push_back(number);

    EXPECT_EQ(std::accumulate(numbers.begin(), numbers.end(), std::uint64_t{0}), 2'999'999ULL * 1'500'000);
}

TEST(LargeMemory, BeginsWhereALargePageMayBegin)
{
    for (std::size_t const count : {std::size_t{1}, std::size_t{1} << 20, std::size_t{5'000'001}}) {
        Large const numbers(count);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(numbers.data()) % (std::uintptr_t{2} << 20), 0U);
    }
}

} // namespace
