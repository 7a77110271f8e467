#include "fuzz/UnpackCheck.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

TEST(FuzzRegression, UnpackKeepsItsRulesOnEveryPastInput)
{
    std::filesystem::path const tests = KETSTATS_TEST_DATA;
    unsigned int replayed = 0;
    for (auto const & file : std::filesystem::directory_iterator(tests.parent_path() / "fuzz" /
                                                                 "regressions" / "unpack-snapshot")) {
        std::ifstream stream(file.path(), std::ios::binary);
        std::vector<unsigned char> const content{std::istreambuf_iterator<char>(stream), {}};
        EXPECT_EQ(fuzz::checkUnpack(content), "") << file.path();
        ++replayed;
    }
    EXPECT_GT(replayed, 0U);
}
