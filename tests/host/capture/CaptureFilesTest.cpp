#include "host/capture/CaptureFiles.h"

#include "host/support/Failure.h"
#include "tests/host/CaptureBuilder.h"
#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

using ketmon::CCaptureFiles;
using ketmon::CFailure;
using test::BlockBuilder;
using test::ClassicBuilder;
using test::TemporaryFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

ClassicBuilder const in;

std::string record(std::uint32_t second, std::string const & text)
{
    return in.record(second, 0, text);
}

std::string textOf(ketmon::CCapturedFrame const & frame)
{
    return {reinterpret_cast<char const *>(frame.data), frame.capturedLength};
}

// Everything that is left, a blank behind each frame.
std::string rest(CCaptureFiles & files)
{
    std::string all;
    for (ketmon::CCapturedFrame frame{}; files.next(frame);)
        all += textOf(frame) + ' ';
    return all;
}

TEST(CaptureFiles, FramesComeInTheOrderOfTimeWhicheverFileTheyAreIn)
{
    TemporaryFile const odd(in.header() + record(1, "1") + record(3, "3") + record(5, "5"));
    TemporaryFile const even(in.header() + record(2, "2") + record(4, "4") + record(6, "6"));
    TemporaryFile const early(in.header() + record(0, "0"));
    TemporaryFile const none(in.header());
    CCaptureFiles files({odd.path(), none.path(), even.path(), early.path()});

    EXPECT_EQ(rest(files), "0 1 2 3 4 5 6 ");

    EXPECT_THAT(files.faults().damage, IsEmpty());
    EXPECT_EQ(files.position(), files.size());
}

TEST(CaptureFiles, EachFileKeepsItsOwnOrderAndTheFirstNamedGoesFirst)
{
    TemporaryFile const back(in.header() + record(5, "a5") + record(1, "a1") + record(6, "a6"));
    TemporaryFile const other(in.header() + record(5, "b5") + record(6, "b6"));
    CCaptureFiles files({back.path(), other.path()});
    CCaptureFiles swapped({other.path(), back.path()});

    EXPECT_EQ(rest(files), "a5 a1 b5 a6 b6 ");
    EXPECT_EQ(rest(swapped), "b5 a5 a1 b6 a6 ");
}

TEST(CaptureFiles, ADamagedOneIsToldAndTheOthersAreReadOn)
{
    TemporaryFile const cut(in.header() + record(1, "1") + record(3, "3").substr(0, 10));
    TemporaryFile const whole(in.header() + record(2, "2") + record(4, "4"));
    TemporaryFile const text("This is no capture file, and long enough for the header of one.\n");
    CCaptureFiles files({cut.path(), text.path(), "/no/such/file", whole.path()});

    EXPECT_EQ(rest(files), "1 2 4 ");

    EXPECT_THAT(
        files.faults().damage,
        ElementsAre(text.path() + ": unknown file format", "/no/such/file: No such file or directory",
                    cut.path() + ": damaged behind frame 1: the file ends within the header of a record"));
}

TEST(CaptureFiles, OneAloneIsReadUpToItsDamage)
{
    TemporaryFile const cut(in.header() + record(1, "1") + record(3, "3").substr(0, 10));
    CCaptureFiles files({cut.path()});

    EXPECT_EQ(rest(files), "1 ");

    ASSERT_EQ(files.faults().damage.size(), 1U);
    EXPECT_THAT(files.faults().damage.front(), HasSubstr("damaged behind frame 1"));
}

TEST(CaptureFiles, WhatIsLeftOutIsAddedUpOnce)
{
    BlockBuilder const block;
    std::string const bytes = block.section() + block.interface("", 65535, 113) + block.interface() +
                              block.enhanced(1, "cooked") + block.enhanced(2, "one", 1) +
                              block.enhanced(3, "cooked");
    TemporaryFile const one(bytes);
    TemporaryFile const other(bytes);
    CCaptureFiles files({one.path(), other.path()});

    EXPECT_EQ(rest(files), "one one ");

    EXPECT_THAT(files.faults().leftOut, ElementsAre(std::pair(113U, 4U)));
}

TEST(CaptureFiles, ThereMayBeMoreThanCanBeOpenAtOnce)
{
    std::vector<std::unique_ptr<TemporaryFile>> kept;
    std::vector<std::string> paths;
    for (std::uint32_t i = 0; i < 300; ++i) {
        kept.push_back(
            std::make_unique<TemporaryFile>(in.header() + record(1000 - i, "x") + record(1000 - i, "y")));
        paths.push_back(kept.back()->path());
    }
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit few = before;
    few.rlim_cur = 64;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    CCaptureFiles files(paths);
    std::string const all = rest(files);
    setrlimit(RLIMIT_NOFILE, &before);

    EXPECT_EQ(all.size(), 1200U);
    EXPECT_EQ(all.substr(0, 8), "x y x y ");
    EXPECT_THAT(files.faults().damage, IsEmpty());
}

TEST(CaptureFiles, APipeMayBeOneOfThem)
{
    std::string const pipe = TemporaryFile("").path() + "-pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::jthread const writer([&] {
        std::FILE * const file = std::fopen(pipe.c_str(), "wb");
        std::string const bytes = in.header() + record(2, "2") + record(4, "4");
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
    });
    TemporaryFile const odd(in.header() + record(1, "1") + record(3, "3"));
    CCaptureFiles files({pipe, odd.path()});

    EXPECT_EQ(rest(files), "1 2 3 4 ");

    std::filesystem::remove(pipe);
}

TEST(CaptureFiles, WithNothingToReadItIsRefused)
{
    auto const refusal = [](std::vector<std::string> const & paths) -> std::string {
        try {
            CCaptureFiles const files(paths);
            return "opened";
        } catch (CFailure const & failure) {
            EXPECT_EQ(failure.exitCode(), ketmon::exitBadInput);
            return failure.what();
        }
    };

    EXPECT_EQ(refusal({"/no/such/file"}), "/no/such/file: No such file or directory");
    EXPECT_THAT(refusal({"/no/such/file", KETSTATS_CAPTURES}),
                testing::AllOf(HasSubstr("/no/such/file: "), HasSubstr("is a directory")));
    EXPECT_EQ(refusal({"-", "a", "-"}), "-: the standard input can be read only once");
}

TEST(CaptureFiles, OfDifferentMediaOnlyThoseAreReadThatAreOneFamily)
{
    auto const file = [](std::uint32_t linkType, std::string const & records) {
        return ClassicBuilder{.linkType = linkType}.header() + records;
    };
    TemporaryFile const cooked(file(113, record(1, "c1") + record(4, "c4")));
    TemporaryFile const raw(file(101, record(2, "r2") + record(5, "r5")));
    TemporaryFile const ethernet(file(1, record(3, "e3") + record(6, "e6") + record(7, "e7")));

    CCaptureFiles others({cooked.path(), raw.path()});
    EXPECT_EQ(others.linkType(), 113U);
    EXPECT_EQ(rest(others), "c1 r2 c4 r5 ");
    EXPECT_THAT(others.faults().leftOut, IsEmpty());

    CCaptureFiles all({cooked.path(), ethernet.path(), raw.path()});
    EXPECT_EQ(all.linkType(), 1U);
    EXPECT_EQ(rest(all), "e3 e6 e7 ");
    EXPECT_THAT(all.faults().leftOut, ElementsAre(std::pair(101U, 2U), std::pair(113U, 2U)));
}

} // namespace
