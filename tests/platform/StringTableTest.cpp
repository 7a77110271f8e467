#include "ketstats/text/StringResources.h"

#include <gtest/gtest.h>

#include <map>

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
    ASSERT_EQ(listed.size(), 114U);
    for (unsigned int id = 0; id <= 0xFFFF; ++id) {
        std::string text;
        bool const found = loadStringResource(id, text, module);
        auto const wanted = listed.find(id);
        if (wanted == listed.end()) {
            EXPECT_EQ(text, "") << id;
        } else {
            EXPECT_TRUE(found) << id;
            EXPECT_EQ(text, wanted->second) << id;
        }
    }
}

} // namespace
