#include "fuzz/ReadCaptureCheck.h"
#include "host/capture/CaptureFile.h"
#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using test::capture;
using test::fileContents;
using test::TemporaryFile;
using testing::HasSubstr;

namespace {

// What gzip makes of the bytes.
std::string compressed(std::string const & bytes)
{
    TemporaryFile const file(bytes);
    test::Outcome const outcome = test::run({"gzip", "--stdout", file.path()});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    return outcome.output;
}

fuzz::CReading reading(std::string const & path)
{
    return fuzz::CReading([&] { return ketmon::openCaptureFile(path); });
}

// How many frames there are, all of which are those of `plain`.
unsigned int commonFrames(std::string const & path, std::string const & plain)
{
    fuzz::CReading packed = reading(path);
    fuzz::CReading original = reading(plain);
    unsigned int frames = 0;
    while (packed.next()) {
        EXPECT_TRUE(original.next());
        EXPECT_TRUE(fuzz::isSame(packed.frame, original.frame)) << frames;
        ++frames;
    }
    return frames;
}

TEST(Gzip, CompressedCapturesAreReadLikeOthers)
{
    for (std::string const & name : test::captures()) {
        std::string const plain = capture(name);
        TemporaryFile const file(compressed(fileContents(plain)));
        unsigned long long frames = 0;

        EXPECT_EQ(fuzz::checkCapture(plain, frames), "");
        EXPECT_EQ(commonFrames(file.path(), plain), frames) << name;
    }
}

TEST(Gzip, SeveralPiecesAndZerosBehindThemAreOneFile)
{
    std::string const plain = capture("jumbo-ssh.pcap");
    std::string const bytes = fileContents(plain);
    unsigned long long frames = 0;
    EXPECT_EQ(fuzz::checkCapture(plain, frames), "");
    TemporaryFile const file(compressed(bytes.substr(0, 1000)) + compressed(bytes.substr(1000)) +
                             std::string(512, '\0'));
    TemporaryFile const junk(compressed(bytes) + "junk");

    EXPECT_EQ(commonFrames(file.path(), plain), frames);
    EXPECT_EQ(commonFrames(junk.path(), plain), frames);
    fuzz::CReading behind = reading(junk.path());
    while (behind.next()) {
    }
    EXPECT_THAT(behind.failure, HasSubstr("the compressed data is damaged"));
}

TEST(Gzip, CutAnywhereItIsReadAsFarAsThereIsSomething)
{
    std::string const plain = capture("nanosecond-big-endian.pcap");
    std::string const bytes = compressed(fileContents(plain));
    unsigned int most = 0;
    for (std::size_t length = 3; length < bytes.size(); ++length) {
        TemporaryFile const file(bytes.substr(0, length));
        fuzz::CReading whole = reading(file.path());
        unsigned int const frames = commonFrames(file.path(), plain);

        ASSERT_GE(frames, most) << length;
        most = frames;
        while (whole.next()) {
        }
        ASSERT_THAT(whole.failure, HasSubstr("ends early")) << length;
        ASSERT_EQ(whole.exitCode, ketmon::exitBadInput);
    }
    EXPECT_EQ(most, 10U) << "but for its sum, the data is whole";
}

TEST(Gzip, DamageWithinIsToldBehindWhatWasThere)
{
    std::string bytes = compressed(fileContents(capture("internet-mixed.pcap")));
    for (std::size_t i = bytes.size() / 2; i < bytes.size() / 2 + 100; ++i)
        bytes[i] ^= 0x55;
    TemporaryFile const file(bytes);
    fuzz::CReading damaged = reading(file.path());
    unsigned int frames = 0;
    while (damaged.next())
        ++frames;

    EXPECT_GT(frames, 100U);
    EXPECT_THAT(damaged.failure, HasSubstr("damaged behind frame"));
}

} // namespace
