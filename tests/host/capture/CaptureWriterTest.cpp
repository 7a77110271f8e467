#include "host/capture/CaptureWriter.h"

#include "fuzz/ReadCaptureCheck.h"
#include "host/capture/CaptureTime.h"
#include "tests/host/Program.h"
#include "tests/support/Bytes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include <unistd.h>

using ketmon::CCapturedFrame;
using ketmon::CCaptureWriter;
using ketmon::CFailure;
using test::bytes;
using test::fileContents;
using test::TemporaryFile;
using testing::HasSubstr;

namespace {

CCapturedFrame frameOf(test::Bytes const & data, long long ticks)
{
    return {data.data(), static_cast<unsigned int>(data.size()), static_cast<unsigned int>(data.size()),
            ticks};
}

template <class Operation>
std::string failure(Operation const & operation)
{
    try {
        operation();
        return "";
    } catch (CFailure const & failure) {
        EXPECT_EQ(failure.exitCode(), ketmon::exitFailure);
        return failure.what();
    }
}

TEST(CaptureWriter, WritesTheClassicFormWithNanoseconds)
{
    TemporaryFile const file("");
    test::Bytes const data = bytes("aa bb cc");
    CCaptureWriter writer(file.path());

    writer.write({data.data(), 3, 60, ketmon::ticksOfStamp(0x01020304, 987654300)});
    writer.finish();

    std::string const written = fileContents(file.path());
    EXPECT_EQ(test::Bytes(written.begin(), written.end()), bytes("4d 3c b2 a1" // magic
                                                                 "02 00 04 00" // version
                                                                 "00 00 00 00" // time zone
                                                                 "00 00 00 00" // accuracy
                                                                 "00 00 04 00" // limit
                                                                 "01 00 00 00" // Ethernet
                                                                 "04 03 02 01" // seconds
                                                                 "9c 68 de 3a" // nanoseconds
                                                                 "03 00 00 00" // captured
                                                                 "3c 00 00 00" // on the wire
                                                                 "aa bb cc"));
    EXPECT_EQ(writer.frames(), 1U);
}

TEST(CaptureWriter, WhatItWritesIsReadBackByBothReaders)
{
    for (std::string const & name : test::captures()) {
        TemporaryFile const copy("");
        {
            test::CPcapFile source(test::capture(name));
            CCaptureWriter writer(copy.path());
            for (CCapturedFrame frame{}; source.next(frame);)
                writer.write(frame);
            writer.finish();
        }

        EXPECT_EQ(fuzz::checkCapture(copy.path()), "") << name;
        test::CPcapFile original(test::capture(name));
        auto const read = ketmon::openCaptureFile(copy.path());
        CCapturedFrame expected{};
        CCapturedFrame got{};
        while (original.next(expected)) {
            ASSERT_TRUE(read->next(got)) << name;
            ASSERT_TRUE(fuzz::isSame(got, expected)) << name;
        }
        EXPECT_FALSE(read->next(got)) << name;
    }
}

TEST(CaptureWriter, AFileWithoutFramesIsACapture)
{
    TemporaryFile const file("");
    CCaptureWriter writer(file.path());
    writer.finish();

    unsigned long long frames = 1;
    EXPECT_EQ(fuzz::checkCapture(file.path(), frames), "");
    EXPECT_EQ(frames, 0U);
    EXPECT_EQ(fileContents(file.path()).size(), 24U);
}

TEST(CaptureWriter, TheFirstAndTheLastMomentAreKept)
{
    TemporaryFile const file("");
    test::Bytes const data(60);
    long long const first = ketmon::ticksOfStamp(0, 0);
    long long const last = ketmon::ticksOfStamp(0x7FFFFFFF, 999999999);
    CCaptureWriter writer(file.path());
    writer.write(frameOf(data, first));
    writer.write(frameOf(data, last));
    writer.finish();

    EXPECT_EQ(fuzz::checkCapture(file.path()), "");
    auto const source = ketmon::openCaptureFile(file.path());
    CCapturedFrame frame{};
    EXPECT_TRUE(source->next(frame));
    EXPECT_EQ(frame.ticks, first);
    EXPECT_TRUE(source->next(frame));
    EXPECT_EQ(frame.ticks, last);
}

TEST(CaptureWriter, RefusesFramesThatTheFormatCanNotHold)
{
    TemporaryFile const file("");
    test::Bytes const data(262145);
    test::Bytes const longest(262144);
    CCaptureWriter writer(file.path());
    long long const good = ketmon::ticksTo1970;

    EXPECT_THAT(failure([&] { writer.write(frameOf(data, good)); }),
                HasSubstr("frame 1 has 262145 captured"));
    for (long long const ticks :
         {ketmon::ticksOfStamp(0, 0) - 1, ketmon::ticksOfStamp(0x7FFFFFFF, 999999999) + 1,
          std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max()})
        EXPECT_THAT(failure([&] { writer.write(frameOf({}, ticks)); }), HasSubstr("at a time")) << ticks;
    EXPECT_EQ(failure([&] { writer.write(frameOf(longest, good)); }), "");
    writer.finish();

    unsigned long long frames = 0;
    EXPECT_EQ(fuzz::checkCapture(file.path(), frames), "");
    EXPECT_EQ(frames, 1U) << "nothing of the others was written";
}

TEST(CaptureWriter, AFileThatWasNotFinishedIsNotThere)
{
    TemporaryFile const file("what was there before");
    {
        CCaptureWriter writer(file.path());
        writer.write(frameOf(test::Bytes(60), ketmon::ticksTo1970));
        EXPECT_TRUE(std::filesystem::exists(file.path() + ".part"));
    }

    EXPECT_EQ(fileContents(file.path()), "what was there before");
    EXPECT_FALSE(std::filesystem::exists(file.path() + ".part"));
}

TEST(CaptureWriter, MayWriteTheFileThatIsRead)
{
    TemporaryFile const file(fileContents(test::capture("nanosecond-big-endian.pcap")));
    auto const source = ketmon::openCaptureFile(file.path());
    CCaptureWriter writer(file.path());
    for (CCapturedFrame frame{}; source->next(frame);)
        writer.write(frame);
    writer.finish();

    unsigned long long frames = 0;
    EXPECT_EQ(fuzz::checkCapture(file.path(), frames), "");
    EXPECT_EQ(frames, 10U);
}

// A link to a file, gone with the object.
class Link
{
public:
    Link(std::string const & target, std::string const & path) : m_path(path)
    {
        std::filesystem::create_symlink(target, path);
    }
    ~Link()
    {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
    Link(Link const &) = delete;
    Link & operator=(Link const &) = delete;

private:
    std::string m_path;
};

TEST(CaptureWriter, ReplacesTheFileBehindALinkAndOnlyAtTheEnd)
{
    TemporaryFile const file("what was there before");
    std::string const path = file.path() + ".link";
    Link const link(file.path(), path);

    CCaptureWriter writer(path);
    writer.write(frameOf(test::Bytes(60), ketmon::ticksTo1970));
    EXPECT_EQ(fileContents(file.path()), "what was there before");
    writer.finish();

    EXPECT_EQ(fuzz::checkCapture(file.path()), "");
    EXPECT_TRUE(std::filesystem::is_symlink(path));
}

TEST(CaptureWriter, WritesWhatALinkToNowhereLeadsTo)
{
    TemporaryFile const file("");
    std::filesystem::remove(file.path());
    std::string const path = file.path() + ".link";
    Link const link(file.path(), path);

    CCaptureWriter(path).finish();

    EXPECT_EQ(fuzz::checkCapture(file.path()), "");
    EXPECT_TRUE(std::filesystem::is_symlink(path));
}

TEST(CaptureWriter, LeavesAFileThatHasTheNameOfAnUnfinishedOneAlone)
{
    TemporaryFile const file("");
    TemporaryFile const other("another's");
    std::string const part = file.path() + ".part";
    std::filesystem::rename(other.path(), part);
    Link const second(other.path(), part + "2");

    {
        CCaptureWriter writer(file.path());
        EXPECT_TRUE(std::filesystem::exists(part + "3"));
        writer.finish();
    }

    EXPECT_EQ(fileContents(part), "another's");
    EXPECT_FALSE(std::filesystem::exists(other.path())) << "a link to nowhere is a file of that name, too";
    EXPECT_FALSE(std::filesystem::exists(part + "3"));
    EXPECT_EQ(fuzz::checkCapture(file.path()), "");
    std::filesystem::remove(part);
}

TEST(CaptureWriter, LeavesAFileAloneThatIsProtected)
{
    // Root could write to it all the same.
    constexpr uid_t nobody = 65534;
    bool const isRoot = geteuid() == 0;
    ASSERT_EQ(isRoot ? seteuid(nobody) : 0, 0);
    {
        TemporaryFile const file("protected");
        std::filesystem::permissions(file.path(), std::filesystem::perms::owner_read);

        EXPECT_THAT(failure([&] { CCaptureWriter(file.path()).finish(); }), HasSubstr("Permission denied"));

        EXPECT_EQ(fileContents(file.path()), "protected");
        EXPECT_FALSE(std::filesystem::exists(file.path() + ".part"));
    }
    ASSERT_EQ(isRoot ? seteuid(0) : 0, 0);
}

TEST(CaptureWriter, TellsOfAFullDevice)
{
    // The bytes wait in a buffer: few fail at the end, many on the way.
    CCaptureWriter few("/dev/full");
    EXPECT_EQ(failure([&] { few.finish(); }), "/dev/full: can't be written: No space left on device");

    CCaptureWriter many("/dev/full");
    test::Bytes const data(200000);
    EXPECT_EQ(failure([&] { many.write(frameOf(data, ketmon::ticksTo1970)); }),
              "/dev/full: can't be written: No space left on device");
}

TEST(CaptureWriter, TellsOfAPlaceWhereNoFileCanBe)
{
    EXPECT_THAT(failure([] { CCaptureWriter("/no/such/folder/file"); }),
                HasSubstr("No such file or directory"));
    EXPECT_THAT(failure([] { CCaptureWriter(KETSTATS_CAPTURES); }), HasSubstr("Is a directory"));
}

} // namespace
