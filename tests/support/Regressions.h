#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace test {

// An input that a fuzz target once was given.
struct CRegression
{
    std::filesystem::path path;
    std::string content;
};

// Those of a target.
inline std::vector<CRegression> regressions(char const * target)
{
    std::filesystem::path const tests = KETSTATS_TEST_DATA;
    std::vector<CRegression> all;
    for (auto const & file :
         std::filesystem::directory_iterator(tests.parent_path() / "fuzz" / "regressions" / target))
        if (file.is_regular_file()) {
            std::ifstream stream(file.path(), std::ios::binary);
            all.push_back({file.path(), {std::istreambuf_iterator<char>(stream), {}}});
        }
    return all;
}

} // namespace test
