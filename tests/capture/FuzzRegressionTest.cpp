#include "fuzz/AnalyzeFrameCheck.h"
#include "fuzz/UnpackFilterCheck.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

std::vector<std::filesystem::path> regressions(char const * target)
{
    std::filesystem::path const tests = KETSTATS_TEST_DATA;
    std::filesystem::directory_iterator const files(tests.parent_path() / "fuzz" / "regressions" / target);
    std::vector<std::filesystem::path> paths;
    for (auto const & file : files)
        if (file.is_regular_file())
            paths.push_back(file.path());
    return paths;
}

std::vector<unsigned char> content(std::filesystem::path const & path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

TEST(FuzzRegression, AnalyzeFrameKeepsItsRulesOnEveryPastInput)
{
    auto const paths = regressions("analyze-frame");

    ASSERT_FALSE(paths.empty());
    for (auto const & path : paths)
        EXPECT_EQ(fuzz::checkFrame(content(path)), "") << path;
}

TEST(FuzzRegression, UnpackFilterKeepsItsRulesOnEveryPastInput)
{
    auto const paths = regressions("unpack-filter");

    ASSERT_FALSE(paths.empty());
    for (auto const & path : paths)
        EXPECT_EQ(fuzz::checkFilter(content(path)), "") << path;
}
