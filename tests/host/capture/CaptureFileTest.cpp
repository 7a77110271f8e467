#include "host/capture/CaptureFile.h"

#include "fuzz/InputFile.h"
#include "fuzz/ReadCaptureCheck.h"
#include "host/capture/FrameBlock.h"
#include "host/support/ByteInput.h"
#include "tests/host/CaptureBuilder.h"
#include "tests/host/CaptureVariants.h"
#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

using ketmon::CFailure;
using test::BlockBuilder;
using test::CaptureVariant;
using test::ClassicBuilder;
using test::TemporaryFile;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

// The variants that are quick to read many times.
std::vector<CaptureVariant> smallVariants()
{
    auto all = test::captureVariants();
    std::erase_if(all, [](CaptureVariant const & variant) {
        return variant.bytes.size() > 1000 || variant.name.find("resolution ") != std::string::npos;
    });
    return all;
}

std::vector<long long> ticksIn(std::string const & bytes)
{
    TemporaryFile const file(bytes);
    auto const source = ketmon::openCaptureFile(file.path());
    std::vector<long long> ticks;
    for (ketmon::CCapturedFrame frame{}; source->next(frame);)
        ticks.push_back(frame.ticks);
    return ticks;
}

std::string refusal(std::string const & path)
{
    try {
        ketmon::openCaptureFile(path);
        return "opened";
    } catch (CFailure const & failure) {
        EXPECT_EQ(failure.exitCode(), ketmon::exitBadInput);
        return failure.what();
    }
}

constexpr long long year1970 = 116444736000000000;

TEST(CaptureFile, ReadsTheBundledCapturesAsLibpcapDoes)
{
    for (std::string const & name : test::captures()) {
        unsigned long long frames = 0;
        EXPECT_EQ(fuzz::checkCapture(test::capture(name), frames), "") << name;
        EXPECT_TRUE(frames > 0 || name == "empty.pcap") << name;
    }
}

TEST(CaptureFile, ReadsEveryVariantAsLibpcapDoes)
{
    fuzz::CInputFile const file;
    for (CaptureVariant const & variant : test::captureVariants()) {
        std::string const path = file.with(variant.bytes);
        unsigned long long frames = 0;

        EXPECT_EQ(fuzz::checkCapture(path, frames), "") << variant.name;

        EXPECT_EQ(frames, variant.frames) << variant.name;
        fuzz::CReading reading([&] { return ketmon::openCaptureFile(path); });
        EXPECT_EQ(reading.isOpen(), variant.verdict != test::refused) << variant.name << reading.failure;
        while (reading.next()) {
        }
        EXPECT_EQ(reading.failure.empty(),
                  variant.verdict != test::damaged && variant.verdict != test::refused)
            << variant.name << reading.failure;
    }
}

TEST(CaptureFile, CutAnywhereItIsReadAsFarAsByLibpcap)
{
    fuzz::CInputFile const file;
    for (CaptureVariant const & variant : smallVariants())
        for (std::size_t length = 0; length < variant.bytes.size(); ++length)
            ASSERT_EQ(fuzz::checkCapture(file.with(variant.bytes.substr(0, length))), "")
                << variant.name << ", cut at " << length;
}

TEST(CaptureFile, DamagedAtRandomItIsReadAsFarAsByLibpcap)
{
    fuzz::CInputFile const file;
    auto const variants = smallVariants();
    for (unsigned int seed = 0; seed < 10000; ++seed) {
        std::mt19937 random(seed);
        CaptureVariant const & variant = variants[random() % variants.size()];
        std::string bytes = variant.bytes;
        for (std::size_t flips = 1 + random() % 4; flips > 0 && !bytes.empty(); --flips)
            bytes[random() % bytes.size()] ^= static_cast<char>(1U << random() % 8);

        ASSERT_EQ(fuzz::checkCapture(file.with(bytes)), "") << variant.name << ", seed " << seed;
    }
}

TEST(CaptureFile, PastInputsOfTheFuzzerAreReadAsByLibpcap)
{
    std::filesystem::path const tests = KETSTATS_TEST_DATA;
    std::filesystem::directory_iterator const files(tests.parent_path() / "fuzz" / "regressions" /
                                                    "read-capture");
    unsigned int count = 0;
    for (auto const & file : files) {
        EXPECT_EQ(fuzz::checkCapture(file.path().string()), "") << file.path();
        ++count;
    }

    EXPECT_GT(count, 0U);
}

TEST(CaptureFile, StampsAreCutToUnitsOf100Nanoseconds)
{
    ClassicBuilder const micro;
    ClassicBuilder const nano{.magic = 0xA1B23C4D};

    EXPECT_THAT(ticksIn(micro.header() + micro.record(2, 3, "") + micro.record(0, 0, "")),
                ElementsAre(year1970 + 20000030, year1970));
    EXPECT_THAT(ticksIn(nano.header() + nano.record(2, 199, "") + nano.record(2, 200, "")),
                ElementsAre(year1970 + 20000001, year1970 + 20000002));
}

TEST(CaptureFile, InterfacesCountTimeInUnitsOfTheirOwn)
{
    BlockBuilder const in;

    EXPECT_THAT(ticksIn(in.section() + in.interface() + in.interface(in.resolution(9)) +
                        in.interface(in.resolution(0x80 + 10)) +
                        in.interface(in.resolution(0) + in.offset(-3)) + in.enhanced(2000003, "", 0) +
                        in.enhanced(2000000399, "", 1) + in.enhanced(2 * 1024 + 512, "", 2) +
                        in.enhanced(5, "", 3) + in.simple(0, "")),
                ElementsAre(year1970 + 20000030, year1970 + 20000003, year1970 + 25000000,
                            year1970 + 20000000, year1970));
}

TEST(CaptureFile, RefusalsNameTheFileAndTheReason)
{
    TemporaryFile const radio(ClassicBuilder{.linkType = 127}.header());
    TemporaryFile const odd(ClassicBuilder{.linkType = 4711}.header());
    TemporaryFile const text("This is no capture file, and long enough for the header of one.\n");

    EXPECT_EQ(refusal(radio.path()),
              radio.path() + ": the link type is IEEE802_11_RADIO (127), which can't be counted");
    EXPECT_EQ(refusal(odd.path()), odd.path() + ": the link type is unknown (4711), which can't be counted");
    EXPECT_EQ(refusal(text.path()), text.path() + ": unknown file format");
    EXPECT_EQ(refusal("/no/such/file"), "/no/such/file: No such file or directory");
    EXPECT_EQ(refusal(KETSTATS_CAPTURES), KETSTATS_CAPTURES ": is a directory");
    EXPECT_EQ(refusal(""), ": No such file or directory");
}

TEST(CaptureFile, DamageIsToldWithTheLastGoodFrame)
{
    ClassicBuilder const in;
    TemporaryFile const file(in.header() + in.record(1, 1, "frame") + in.record(1, 1, 70, 70, "frame"));
    fuzz::CReading reading([&] { return ketmon::openCaptureFile(file.path()); });

    EXPECT_TRUE(reading.next());
    EXPECT_EQ(std::string(reinterpret_cast<char const *>(reading.frame.data), 5), "frame");
    EXPECT_FALSE(reading.next());

    EXPECT_EQ(reading.failure,
              file.path() + ": damaged behind frame 1: the file ends within a frame of 70 bytes");
    EXPECT_EQ(reading.exitCode, ketmon::exitBadInput);
}

// Frames as they are, read with the readers of ours: their bytes, a blank between two of them.
std::string framesIn(std::string const & path, ketmon::CSourceFaults * faults = nullptr)
{
    auto const source = ketmon::openCaptureFile(path);
    std::string frames;
    for (ketmon::CCapturedFrame frame{}; source->next(frame);)
        frames += std::string(reinterpret_cast<char const *>(frame.data), frame.capturedLength) + ' ';
    if (faults)
        *faults = source->faults();
    return frames;
}

TEST(CaptureFile, FramesOfOtherMediaThanEthernetAreLeftOutAndTold)
{
    BlockBuilder const in;
    TemporaryFile const file(in.section() + in.interface("", 65535, 113) + in.interface() +
                             in.enhanced(1, "cooked", 0) + in.enhanced(2, "one", 1) +
                             in.interface("", 65535, 127) + in.enhanced(3, "radio", 2) +
                             in.enhanced(4, "cooked", 0) + in.simple(6, "simple") + in.enhanced(5, "two", 1));
    ketmon::CSourceFaults faults;

    EXPECT_EQ(framesIn(file.path(), &faults), "one two ");

    EXPECT_THAT(faults.leftOut, ElementsAre(std::pair(113U, 3U), std::pair(127U, 1U)));
    EXPECT_THAT(faults.damage, testing::IsEmpty());
}

// Nobody knows of an interface that is described behind the first frame.
TEST(CaptureFile, WithoutEthernetInFrontAllOtherMediaAreRead)
{
    BlockBuilder const in;
    TemporaryFile const file(in.section() + in.interface("", 65535, 127) + in.interface("", 65535, 113) +
                             in.enhanced(1, "radio", 0) + in.interface("", 65535, 14) +
                             in.enhanced(2, "cooked", 1) + in.enhanced(3, "raw", 2) +
                             in.enhanced(4, "raw", 2) + in.interface() + in.enhanced(5, "Ethernet", 3) +
                             in.enhanced(6, "cooked", 1));
    ketmon::CSourceFaults faults;

    EXPECT_EQ(framesIn(file.path(), &faults), "cooked raw raw cooked ");
    EXPECT_THAT(faults.leftOut, ElementsAre(std::pair(1U, 1U), std::pair(127U, 1U)));

    auto const source = ketmon::openCaptureFile(file.path());
    EXPECT_EQ(source->linkType(), 113U);
    ketmon::CFrameBlock block;
    std::vector<std::pair<std::uint32_t, std::size_t>> blocks;
    for (source->nextBlock(block); block.size() > 0; source->nextBlock(block))
        blocks.emplace_back(block.linkType(), block.size());
    EXPECT_THAT(blocks, ElementsAre(std::pair(113U, 1U), std::pair(101U, 2U), std::pair(113U, 1U)));
}

TEST(CaptureFile, EachInterfaceHasALimitOfItsOwn)
{
    BlockBuilder const in;
    TemporaryFile const file(in.section() + in.interface("", 4) + in.interface("", 100) +
                             in.enhanced(1, "four", 0) + in.enhanced(2, "more than four", 1) +
                             in.simple(9, "four"));

    EXPECT_EQ(framesIn(file.path()), "four more than four four ");
}

TEST(CaptureFile, ASectionOfTooManyInterfacesIsDamaged)
{
    BlockBuilder const in;
    std::string bytes = in.section();
    for (unsigned int i = 0; i <= 65536; ++i)
        bytes += in.interface();
    TemporaryFile const file(bytes);
    fuzz::CReading reading([&] { return ketmon::openCaptureFile(file.path()); });

    EXPECT_FALSE(reading.next());

    EXPECT_THAT(reading.failure, HasSubstr("more than 65536 interfaces"));
}

TEST(CaptureFile, WithoutAnInterfaceThatCanBeCountedItIsRefused)
{
    BlockBuilder const in;
    TemporaryFile const file(in.section() + in.interface("", 65535, 105) + in.enhanced(1, "radio") +
                             in.interface("", 65535, 127));

    EXPECT_EQ(refusal(file.path()),
              file.path() + ": the link type is IEEE802_11 (105), which can't be counted");
}

// A file that grows is one that somebody still writes to; what there is of its last record may be any part.
TEST(CaptureFile, OneThatGrowsIsReadToItsEndWhereverThatIs)
{
    ClassicBuilder const in;
    std::string const start = in.header() + in.record(1, 1, "one ");
    std::string const last = in.record(1, 1, "frame");
    for (std::size_t length = 1; length < last.size(); ++length) {
        TemporaryFile const file(start);
        auto const source = ketmon::openCaptureFile(file.path());
        std::ofstream(file.path(), std::ios::binary | std::ios::app) << last.substr(0, length);
        ketmon::CCapturedFrame frame{};

        EXPECT_TRUE(source->next(frame));
        EXPECT_FALSE(source->next(frame));
        EXPECT_FALSE(source->next(frame));

        EXPECT_THAT(source->faults().unfinished, ElementsAre(file.path())) << length;
    }
}

TEST(CaptureFile, ItsDamageIsToldOnceAndIsItsEnd)
{
    ClassicBuilder const in;
    TemporaryFile const file(in.header() + in.record(1, 1, "frame").substr(0, 18));
    auto const source = ketmon::openCaptureFile(file.path());
    ketmon::CCapturedFrame frame{};

    EXPECT_THROW(source->next(frame), CFailure);
    EXPECT_FALSE(source->next(frame));
    EXPECT_THAT(source->faults().unfinished, testing::IsEmpty());
}

TEST(ByteInput, TakesNoMoreMemoryThanThereIsToRead)
{
    TemporaryFile const file("ten bytes.");
    ketmon::CByteInput input(ketmon::openByteSource(file.path()));

    EXPECT_EQ(input.take(std::size_t{1} << 40).size(), 10U);
    EXPECT_EQ(input.position(), 10U);
    EXPECT_EQ(input.size(), 10U);
    EXPECT_TRUE(input.take(1).empty());
}

// Pieces of all lengths over the borders of its blocks, against the bytes themselves.
TEST(ByteInput, GivesEveryByteOnceAndInOrder)
{
    std::string bytes;
    std::mt19937 random(1);
    for (unsigned int i = 0; i < 3000000; ++i)
        bytes += static_cast<char>(random());
    TemporaryFile const file(bytes);
    ketmon::CByteInput input(ketmon::openByteSource(file.path()));
    auto const text = [](ketmon::CByteInput::Bytes piece) {
        return std::string(reinterpret_cast<char const *>(piece.data()), piece.size());
    };
    std::size_t at = 0;
    while (at < bytes.size()) {
        std::size_t const length = random() % 4 == 0 ? random() % 700000 : random() % 3000;
        if (random() % 2 == 0) {
            ASSERT_EQ(text(input.look(length)), bytes.substr(at, length)) << at;
        }
        std::string const piece = text(random() % 3 == 0 ? input.some(length) : input.take(length));
        ASSERT_EQ(piece, bytes.substr(at, piece.size())) << at;
        at += piece.size();
        ASSERT_EQ(input.position(), at);
    }

    EXPECT_TRUE(input.take(1).empty());
    EXPECT_TRUE(input.some(1).empty());
}

} // namespace
