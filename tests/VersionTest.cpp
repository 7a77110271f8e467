#include "ketstats/Version.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Version, OfTheLibraryIsThatOfItsHeaders)
{
    EXPECT_EQ(KetStats::version(), KETSTATS_VERSION);
    EXPECT_EQ(KetStats::versionText(), std::to_string(KETSTATS_VERSION_MAJOR) + "." +
                                           std::to_string(KETSTATS_VERSION_MINOR) + "." +
                                           std::to_string(KETSTATS_VERSION_PATCH));
    EXPECT_EQ(KETSTATS_VERSION,
              KETSTATS_VERSION_MAJOR * 10000 + KETSTATS_VERSION_MINOR * 100 + KETSTATS_VERSION_PATCH);
    // The build's own number, which packages and files bear.
    EXPECT_STREQ(KetStats::versionText(), KETSTATS_BUILD_VERSION);
}

} // namespace
