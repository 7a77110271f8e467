#include "fuzz/AnalyzeFrameCheck.h"
#include "fuzz/UnpackFilterCheck.h"
#include "tests/support/Regressions.h"

using test::replayRegressions;

TEST(FuzzRegression, AnalyzeFrameKeepsItsRulesOnEveryPastInput)
{
    replayRegressions<unsigned char>("analyze-frame",
                                     [](auto const & bytes) { return fuzz::checkFrame(bytes); });
}

TEST(FuzzRegression, UnpackFilterKeepsItsRulesOnEveryPastInput)
{
    replayRegressions<unsigned char>("unpack-filter",
                                     [](auto const & bytes) { return fuzz::checkFilter(bytes); });
}
