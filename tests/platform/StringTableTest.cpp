#include "ketstats/text/StringResources.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

using namespace KetStats;

namespace {

std::map<unsigned int, std::string> const listed = {
#define STRING(ID, TEXT) {ID, TEXT},
#include "ketstats/platform/Strings.def"
#undef STRING
};

TEST(StringTable, HoldsEveryTextOfTheListAndNoOther)
{
    HMODULE const module = CStringResources::instance().module;
    ASSERT_EQ(listed.size(), 154U);
    std::set<unsigned int> blocks;
    for (auto const & [id, text] : listed)
        blocks.insert(id / 16);
    for (unsigned int id = 0; id <= 0xFFFF; ++id) {
        std::string text;
        bool const found = loadStringResource(id, text, module);
        auto const wanted = listed.find(id);
        if (wanted == listed.end()) {
            EXPECT_EQ(text, "") << id;
            EXPECT_EQ(found, blocks.contains(id / 16)) << id;
        } else {
            EXPECT_TRUE(found) << id;
            EXPECT_EQ(text, wanted->second) << id;
        }
    }
}

TEST(StringTable, AnswersForABlockWithoutTheStringWithAnEmptyText)
{
    HMODULE const module = CStringResources::instance().module;
    std::string text = "of before";

    EXPECT_TRUE(loadStringResource(1136, text, module));
    EXPECT_EQ(text, "");

    text = "of before";
    EXPECT_FALSE(loadStringResource(3000, text, module));
    EXPECT_EQ(text, "of before");
}

TEST(StringTable, TakesTheLowTwentyBitsOfAnId)
{
    HMODULE const module = CStringResources::instance().module;
    std::string text;

    EXPECT_TRUE(loadStringResource(1U << 20 | 1129, text, module));
    EXPECT_EQ(text, "Frames");
    EXPECT_FALSE(loadStringResource(1U << 16 | 1129, text, module));
    EXPECT_FALSE(loadStringResource(0xFFFFFFFFU, text, module));
}

} // namespace
