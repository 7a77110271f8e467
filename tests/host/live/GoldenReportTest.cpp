#include "host/live/FileCount.h"
#include "host/render/ReportText.h"
#include "host/support/Utf8.h"

#include "tests/host/Program.h"
#include "tests/host/render/ReportFigures.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace ketmon;

namespace {

// What a report of a bundled capture looks like, to be read by whoever changes it. Written anew by
//
//     KETMON_WRITE_GOLDEN=1 build/dev/bin/ketmon-tests --gtest_filter='*GoldenReport*'
struct Golden
{
    char const * capture;
    unsigned int width;
    bool ascii = false;
};

std::string reportOf(std::string const & capture, CReportStyle const & style)
{
    CFileCount count({}, {});
    count.run({test::capture(capture)}, true);
    CSampleFacts facts = count.facts();
    facts.source.name = capture;
    return reportText(figuresOf(count.result(), facts), style, test::FixedNames());
}

class GoldenReport : public testing::TestWithParam<Golden>
{};

TEST_P(GoldenReport, IsAsItWas)
{
    Golden const & golden = GetParam();
    CReportStyle style;
    style.width = golden.width;
    style.ascii = golden.ascii;
    std::string const stem = std::filesystem::path(golden.capture).stem().string();
    std::string const path = std::string(KETSTATS_TEST_DATA "/host/render/golden/report/") + stem + "-" +
                             std::to_string(golden.width) + (golden.ascii ? "-ascii" : "") + ".txt";

    std::string const report = reportOf(golden.capture, style);

    if (std::getenv("KETMON_WRITE_GOLDEN"))
        std::ofstream(path, std::ios::binary) << report;
    EXPECT_EQ(report, test::fileContents(path)) << path;
}

INSTANTIATE_TEST_SUITE_P(
    Reports, GoldenReport,
    testing::Values(Golden{"internet-mixed.pcap", 80}, Golden{"internet-mixed.pcap", 120},
                    Golden{"internet-mixed.pcap", 160}, Golden{"internet-mixed.pcap", 80, true},
                    Golden{"many-stations-arp.pcap", 80}, Golden{"many-stations-arp.pcap", 160},
                    Golden{"llc-snap-ipx-vlan.pcap", 80}, Golden{"llc-snap-ipx-vlan.pcap", 120},
                    Golden{"malformed-and-runts.pcap", 80}, Golden{"file-service-fragments.pcap", 100},
                    Golden{"empty.pcap", 80}),
    [](auto const & about) {
        std::string name = std::filesystem::path(about.param.capture).stem().string() + "_" +
                           std::to_string(about.param.width) + (about.param.ascii ? "_ascii" : "");
        std::replace(name.begin(), name.end(), '-', '_');
        return name;
    });

// All captures at all widths, names as long as they get included.
TEST(ReportsOfBundledCaptures, FitTheirWidth)
{
    for (std::string const & capture : test::captures())
        for (bool const exact : {false, true})
            for (unsigned int const width : {80U, 100U, 160U}) {
                CReportStyle style;
                style.width = width;
                style.exact = exact;
                style.top = 0;
                std::istringstream lines(reportOf(capture, style));
                for (std::string line; std::getline(lines, line);) {
                    EXPECT_LE(columnsOf(line), width) << capture << ": " << line;
                    EXPECT_FALSE(line.ends_with(' ')) << capture << ": " << line;
                }
            }
}

} // namespace
