#include "fuzz/UnpackCheck.h"
#include "tests/support/Regressions.h"

TEST(FuzzRegression, UnpackKeepsItsRulesOnEveryPastInput)
{
    test::replayRegressions<unsigned char>("unpack-snapshot",
                                           [](auto const & bytes) { return fuzz::checkUnpack(bytes); });
}
