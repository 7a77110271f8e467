#include "host/support/Log.h"
#include "host/support/Output.h"
#include "host/support/RateLimit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace ketmon;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

// Has the standard error output go elsewhere for as long as it exists.
class Errors
{
public:
    explicit Errors(int target) : m_before(dup(STDERR_FILENO)) { dup2(target, STDERR_FILENO); }
    ~Errors()
    {
        dup2(m_before, STDERR_FILENO);
        close(m_before);
    }
    Errors(Errors const &) = delete;
    Errors & operator=(Errors const &) = delete;

private:
    int m_before;
};

// What `deed` writes to the standard error output, as much as fits a pipe.
template <class Deed>
std::string written(Deed const & deed)
{
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    {
        Errors const errors(ends[1]);
        deed();
    }
    close(ends[1]);
    std::string text(65536, '\0');
    ssize_t const size = read(ends[0], text.data(), text.size());
    close(ends[0]);
    text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return text;
}

TEST(Log, ALineHasItsTimeAndItsLevel)
{
    std::string const text = written([] {
        CLog log;
        log.warn("one\x1B[2Jtwo");
        log.inform("three");
    });

    EXPECT_THAT(text, MatchesRegex("[0-9-]{10}T[0-9:]{8}\\.[0-9]{3}Z ketmon: warning: one\\\\x1b\\[2Jtwo\n"
                                   "[0-9-]{10}T[0-9:]{8}\\.[0-9]{3}Z ketmon: three\n"));
}

TEST(Log, LeavesOutWhatMattersLess)
{
    std::string const text = written([] {
        CLog log(LogLevel::warning);
        log.inform("news");
        log.error("damage");
    });

    EXPECT_THAT(text, HasSubstr("ketmon: error: damage\n"));
    EXPECT_THAT(text, testing::Not(HasSubstr("news")));
}

TEST(Log, ManyLinesOfPeersAreCountedInsteadAndLeaveRoomForItsOwn)
{
    std::string const text = written([] {
        CLog log;
        for (int i = 0; i < 5000; ++i)
            log.say(LogLevel::warning, CLog::peer, "garbage");
        log.error("damage");
        EXPECT_GE(log.leftOut(), 4800U);
    });

    EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 150);
    EXPECT_THAT(text, HasSubstr("lines were left out here\n"));
    EXPECT_THAT(text, HasSubstr("error: damage\n"));
}

TEST(Log, ManyWarningsLeaveRoomForAnError)
{
    std::string const text = written([] {
        CLog log;
        for (int i = 0; i < 1000; ++i)
            log.warn("trouble");
        log.error("damage");
    });

    EXPECT_THAT(text, HasSubstr("error: damage\n"));
    EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 150);
}

TEST(Log, WhatComesAgainAndAgainIsSummedUp)
{
    auto const start = CLog::Clock::now();
    std::string const text = written([&] {
        auto now = start;
        CLog log(LogLevel::info, [&] { return now; });
        for (int second = 0; second < 130; ++second, now += 1s) {
            for (int i = 0; i < 5; ++i)
                log.warnOfCount("samples missed", 2);
            log.settle();
        }
        log.warnOfCount("something else", 1);
        now += 1h;
        log.settle();
        log.settle();
        log.warnOfCount("something else", 7);
        log.warnOfCount("something else", 8);
    });

    std::string lines;
    for (std::size_t at = text.find("warning: "); at != text.npos; at = text.find("warning: ", at + 1))
        lines += text.substr(at + 9, text.find('\n', at) - at - 8);
    EXPECT_EQ(lines, "samples missed: 2\n"
                     "samples missed: 600\n"
                     "samples missed: 600\n"
                     "something else: 1\n"
                     "samples missed: 98\n"
                     "something else: 7\n"
                     "something else: 8\n");
}

TEST(Log, ALineThatIsTooLongEndsWithAWholeCharacter)
{
    std::string const letters(1999, 'x');

    EXPECT_THAT(written([&] { CLog().warn(letters + "\u00e9y"); }), testing::EndsWith("xx...\n"));
    EXPECT_THAT(written([&] { CLog().warn(letters + "\ny"); }), testing::EndsWith("xx...\n"));
    EXPECT_THAT(written([&] { CLog().warn(letters.substr(3) + "\ny"); }), testing::EndsWith("xx\\x0a...\n"));
    EXPECT_THAT(written([&] { CLog().warn(letters + "y"); }), testing::EndsWith("xxy\n"));
    // Whatever it is made of, a pipe takes it in one piece.
    EXPECT_LT(written([&] { CLog().warn(std::string(100000, '\x1b')); }).size(), 4096U);
}

TEST(Log, NeverWaitsForAPipeThatNobodyReads)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(fcntl(ends[1], F_SETPIPE_SZ, 4096), 4096);
    auto const start = std::chrono::steady_clock::now();
    {
        Errors const errors(ends[1]);
        CLog log;
        for (int i = 0; i < 90; ++i)
            log.warn(std::string(200, 'x'));
        EXPECT_GT(log.leftOut(), 50U);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
    close(ends[0]);
    close(ends[1]);
}

TEST(Log, AnOutputThatIsFullOrGoneFailsNothing)
{
    int const full = open("/dev/full", O_WRONLY);
    ASSERT_GE(full, 0);
    {
        Errors const errors(full);
        CLog log;
        log.error("damage");
        EXPECT_EQ(log.leftOut(), 1U);
    }
    close(full);

    letBrokenPipesFail();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    {
        Errors const errors(ends[1]);
        CLog log;
        log.error("damage");
        EXPECT_EQ(log.leftOut(), 1U);
    }
    close(ends[1]);
}

TEST(Log, TheSystemsLogGetsTheLevelAlone)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    struct stat about
    {};
    ASSERT_EQ(fstat(ends[1], &about), 0);
    {
        Errors const errors(ends[1]);
        EXPECT_FALSE(errorsGoToTheSystemsLog());
        ASSERT_EQ(setenv("JOURNAL_STREAM",
                         (std::to_string(about.st_dev) + ":" + std::to_string(about.st_ino)).c_str(), 1),
                  0);
        EXPECT_TRUE(errorsGoToTheSystemsLog());
        unsetenv("JOURNAL_STREAM");
    }
    close(ends[0]);
    close(ends[1]);
}

TEST(RateLimit, GivesABurstAndThenItsRate)
{
    CRateLimit limit(3, 2.0);
    auto const start = CRateLimit::Clock::now();

    int atOnce = 0;
    while (limit.allows(start))
        ++atOnce;
    EXPECT_EQ(atOnce, 3);
    EXPECT_FALSE(limit.allows(start + 400ms));
    EXPECT_TRUE(limit.allows(start + 600ms));
    EXPECT_FALSE(limit.allows(start + 700ms));
    int later = 0;
    while (limit.allows(start + 1h))
        ++later;
    EXPECT_EQ(later, 3);
}

} // namespace
