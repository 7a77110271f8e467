#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace test {

// Replays every input that is kept of a fuzz target: `check` takes its bytes and tells which rule they break.
template <class Byte, class Check>
void replayRegressions(char const * target, Check const & check)
{
    std::filesystem::path const tests = KETSTATS_TEST_DATA;
    unsigned int replayed = 0;
    for (auto const & file :
         std::filesystem::directory_iterator(tests.parent_path() / "fuzz" / "regressions" / target)) {
        std::ifstream stream(file.path(), std::ios::binary);
        std::vector<Byte> const bytes{std::istreambuf_iterator<char>(stream), {}};
        EXPECT_EQ(check(bytes), "") << file.path();
        ++replayed;
    }
    EXPECT_GT(replayed, 0U) << target;
}

} // namespace test
