#include "host/live/ZeroPoint.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace ketmon;

namespace {

constexpr std::uint64_t frameBytes = 100;

CRowFigures port(std::string const & oid, unsigned int number, std::uint64_t frames)
{
    CRowFigures row;
    row.oid = oid;
    row.code = number;
    row.framesSent = frames;
    row.bytesSent = frames * frameBytes;
    row.framesReceived = 2 * frames;
    row.bytesReceived = 2 * frames * frameBytes;
    return row;
}

CGivenUp gone(std::uint64_t rows, std::uint64_t frames)
{
    return {rows,
            3 * frames,
            3 * frames * frameBytes,
            frames,
            frames * frameBytes,
            2 * frames,
            2 * frames * frameBytes};
}

CFigures figuresOf(std::vector<CRowFigures> const & rows, CGivenUp const & givenUp = gone(0, 0))
{
    CTableFigures table;
    table.key = "tcp_ports";
    table.counted = true;
    table.zero = 1;
    table.rows = rows;
    table.givenUp = givenUp;
    CFigures figures;
    figures.zero = 5;
    figures.frames = 1000;
    figures.tables = {table};
    return figures;
}

// What is shown of the ports, in their order.
std::vector<std::uint64_t> shown(CZeroPoint & zeroPoint, CFigures figures)
{
    zeroPoint.apply(figures);
    std::vector<std::uint64_t> frames;
    for (CRowFigures const & row : figures.tables.front().rows) {
        EXPECT_EQ(*row.framesReceived, 2 * *row.framesSent);
        EXPECT_EQ(*row.bytesSent, *row.framesSent * frameBytes);
        EXPECT_EQ(*row.bytesReceived, *row.framesReceived * frameBytes);
        frames.push_back(*row.framesSent);
    }
    return frames;
}

using Frames = std::vector<std::uint64_t>;

TEST(ZeroPoint, IsThatOfTheFirstSample)
{
    CZeroPoint zeroPoint;

    EXPECT_EQ(shown(zeroPoint, figuresOf({port("1.11.1.1", 80, 10), port("1.11.1.2", 443, 20)})),
              (Frames{0, 0}));
    EXPECT_EQ(shown(zeroPoint, figuresOf({port("1.11.1.1", 80, 10), port("1.11.1.2", 443, 25),
                                          port("1.11.1.3", 22, 7)})),
              (Frames{0, 5, 7}));
}

TEST(ZeroPoint, OfTheTablesIsThatOfTheWhole)
{
    CZeroPoint zeroPoint;
    CFigures figures = figuresOf({});

    zeroPoint.apply(figures);

    EXPECT_EQ(figures.tables.front().zero, figures.zero);
}

// Those that count from the agent's beginning on.
TEST(ZeroPoint, IsOfProtocolsAndPortsOfBothFamilies)
{
    for (char const * const key :
         {"ip_protocols", "tcp_ports", "udp_ports", "ipv6_protocols", "ipv6_tcp_ports", "ipv6_udp_ports"}) {
        SCOPED_TRACE(key);
        auto const figuresWith = [&](std::uint64_t frames, std::uint64_t goneFrames) {
            CFigures figures = figuresOf({port("2.3.1.1", 80, frames)}, gone(goneFrames, goneFrames));
            figures.tables.front().key = key;
            return figures;
        };
        CZeroPoint zeroPoint;
        CFigures first = figuresWith(10, 3);
        zeroPoint.apply(first);
        CFigures second = figuresWith(14, 5);

        zeroPoint.apply(second);

        CTableFigures const & table = second.tables.front();
        EXPECT_EQ(table.rows.front().framesSent, 4U);
        EXPECT_EQ(table.rows.front().bytesReceived, 8 * frameBytes);
        EXPECT_EQ(table.givenUp->rows, 2U);
        EXPECT_EQ(table.givenUp->framesSent, 2U);
        EXPECT_EQ(table.zero, second.zero);
        bool const isOfProtocols =
            std::string(key).ends_with("ip_protocols") || key == std::string("ipv6_protocols");
        EXPECT_EQ(table.rows.front().share, isOfProtocols ? std::optional(12.0 / 1000) : std::nullopt);
    }
}

TEST(ZeroPoint, OfOneFamilyIsNotThatOfTheOther)
{
    CZeroPoint zeroPoint;
    CFigures figures = figuresOf({port("1.11.1.1", 80, 10)});
    figures.tables.push_back(figures.tables.front());
    figures.tables.back().key = "ipv6_tcp_ports";
    figures.tables.back().rows = {port("2.3.1.1", 80, 100)};
    CFigures later = figures;
    zeroPoint.apply(figures);
    later.tables.back().rows = {port("2.3.1.1", 80, 101)};

    zeroPoint.apply(later);

    EXPECT_EQ(later.tables.front().rows.front().framesSent, 0U);
    EXPECT_EQ(later.tables.back().rows.front().framesSent, 1U);
}

TEST(ZeroPoint, LeavesOtherTablesAlone)
{
    // These are reduced where they are sampled, or have nothing to take off.
    for (char const * const key :
         {"ip_traffic", "ipv6_traffic", "vlans", "inner_vlans", "neighbours", "tunnels", "protocols"}) {
        SCOPED_TRACE(key);
        CZeroPoint zeroPoint;
        CFigures figures = figuresOf({port("1.8.1", 80, 10)}, gone(3, 30));
        figures.tables.front().key = key;

        for (int sample = 0; sample < 2; ++sample)
            zeroPoint.apply(figures);

        EXPECT_EQ(figures.tables.front().rows.front().framesSent, 10U);
        EXPECT_EQ(figures.tables.front().givenUp->rows, 3U);
        EXPECT_EQ(figures.tables.front().zero, 1);
    }
}

TEST(ZeroPoint, OfARowThatCameAgainIsItsNewBeginning)
{
    CZeroPoint zeroPoint;
    EXPECT_EQ(shown(zeroPoint, figuresOf({port("1.11.1.1", 80, 10), port("1.11.1.2", 443, 20)})),
              (Frames{0, 0}));

    // One has counted less than before, the other has another identifier.
    EXPECT_EQ(shown(zeroPoint, figuresOf({port("1.11.1.1", 80, 3), port("1.11.1.3", 443, 90)}, gone(2, 30))),
              (Frames{3, 90}));
    EXPECT_EQ(shown(zeroPoint, figuresOf({port("1.11.1.1", 80, 11), port("1.11.1.3", 443, 91)}, gone(2, 30))),
              (Frames{11, 91}));
}

TEST(ZeroPoint, OfTheLedgerLeavesOutWhatRowsHadBefore)
{
    CZeroPoint zeroPoint;
    shown(zeroPoint, figuresOf({port("1.11.1.1", 80, 10)}, gone(4, 1000)));
    CFigures figures = figuresOf({port("1.11.1.2", 22, 1)}, gone(5, 1012));

    zeroPoint.apply(figures);

    CGivenUp const & givenUp = *figures.tables.front().givenUp;
    EXPECT_EQ(givenUp.rows, 1U);
    EXPECT_EQ(givenUp.framesSent, 2U);
    EXPECT_EQ(givenUp.bytesSent, 2 * frameBytes);
    EXPECT_EQ(givenUp.framesReceived, 4U);
    EXPECT_EQ(givenUp.frames, 6U);
    EXPECT_EQ(givenUp.bytes, 6 * frameBytes);
}

TEST(ZeroPoint, IsOfAStationsPortsToo)
{
    auto const figuresWith = [](std::uint64_t frames) {
        CRowFigures station;
        station.oid = "1.5.1";
        station.address = "00:00:00:00:00:01";
        station.framesSent = 100;
        station.tcpPorts = {port("1.5.1.6.1", 80, frames)};
        CFigures figures = figuresOf({station});
        figures.tables.front().key = "stations";
        figures.tables.front().portsCounted = true;
        return figures;
    };
    CZeroPoint zeroPoint;
    CFigures first = figuresWith(10);
    zeroPoint.apply(first);
    CFigures second = figuresWith(14);

    zeroPoint.apply(second);

    CRowFigures const & station = second.tables.front().rows.front();
    EXPECT_EQ(station.framesSent, 100U);
    EXPECT_EQ(station.tcpPorts.front().framesSent, 4U);
    EXPECT_EQ(second.tables.front().portsZero, second.zero);
}

// A table that gives rows up all the while, against a count that knows nothing of tables. Rows and ledger are
// what was counted since the zero point, whatever was given up and came again between two samples.
TEST(ZeroPoint, KeepsRowsAndLedgerTogether)
{
    for (unsigned int seed = 1; seed <= 20; ++seed) {
        std::mt19937 random(seed);
        std::vector<CRowFigures> rows;
        std::uint64_t counted = 0;
        std::uint64_t rowsGone = 0;
        std::uint64_t framesGone = 0;
        auto const count = [&](unsigned int frames) {
            for (unsigned int i = 0; i < frames; ++i) {
                auto const number = static_cast<unsigned int>(random() % 12);
                ++counted;
                auto row = std::find_if(rows.begin(), rows.end(),
                                        [number](CRowFigures const & each) { return each.code == number; });
                CRowFigures used = port("", number, 1);
                if (row != rows.end()) {
                    used = port(row->oid, number, *row->framesSent + 1);
                    rows.erase(row);
                } else if (rows.size() == 6) {
                    used.oid = rows.front().oid;
                    ++rowsGone;
                    framesGone += *rows.front().framesSent;
                    rows.erase(rows.begin());
                } else {
                    used.oid = "1.11.1." + std::to_string(rows.size() + 1);
                }
                rows.push_back(used);
            }
        };
        count(200);
        std::uint64_t const before = counted;
        CZeroPoint zeroPoint;

        for (int sample = 0; sample < 50; ++sample) {
            CFigures figures = figuresOf(rows, gone(rowsGone, framesGone));
            zeroPoint.apply(figures);

            std::uint64_t sum = *figures.tables.front().givenUp->framesSent;
            for (CRowFigures const & row : figures.tables.front().rows)
                sum += *row.framesSent;
            ASSERT_EQ(sum, counted - before) << "seed " << seed << ", sample " << sample;
            count(static_cast<unsigned int>(random() % 20));
        }
    }
}

} // namespace
