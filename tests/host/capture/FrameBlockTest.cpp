#include "host/capture/FrameBlock.h"

#include "host/capture/CaptureFiles.h"
#include "host/support/Failure.h"
#include "tests/host/CaptureBuilder.h"
#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

using ketmon::CCapturedFrame;
using ketmon::CCaptureFiles;
using ketmon::CFrameBlock;
using test::TemporaryFile;

namespace {

// All frames, and what the files have to say about what isn't among them.
struct Read
{
    std::vector<std::string> frames;
    std::vector<std::string> damage;

    friend bool operator==(Read const &, Read const &) = default;
};

std::string textOf(CCapturedFrame const & frame)
{
    return std::to_string(frame.ticks) + ' ' + std::to_string(frame.length) + ' ' +
           std::string(reinterpret_cast<char const *>(frame.data), frame.capturedLength);
}

// Files that can't be opened at all have nothing else to say.
template <class Reading>
Read opened(std::vector<std::string> const & paths, Reading const & reading)
{
    try {
        Read all;
        CCaptureFiles files(paths);
        reading(files, all.frames);
        all.damage = files.faults().damage;
        return all;
    } catch (ketmon::CFailure const & failure) {
        return {{}, {failure.what()}};
    }
}

Read oneByOne(std::vector<std::string> const & paths)
{
    return opened(paths, [](CCaptureFiles & files, std::vector<std::string> & frames) {
        for (CCapturedFrame frame{}; files.next(frame);)
            frames.push_back(textOf(frame));
    });
}

Read inBlocks(std::vector<std::string> const & paths, std::size_t & largest)
{
    return opened(paths, [&](CCaptureFiles & files, std::vector<std::string> & frames) {
        CFrameBlock block;
        for (files.nextBlock(block); block.size() > 0; files.nextBlock(block)) {
            largest = std::max(largest, block.size());
            // Only when the block is whole, so that one that moved under it would be seen.
            for (std::size_t i = 0; i < block.size(); ++i)
                frames.push_back(textOf(block.frame(i)));
        }
    });
}

std::string contentsOf(std::filesystem::path const & path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(FrameBlock, HasTheFramesThatComeOneByOne)
{
    std::size_t largest = 0;
    std::vector<std::string> all;
    for (auto const & entry : std::filesystem::directory_iterator(KETSTATS_CAPTURES)) {
        std::string const path = entry.path().string();
        if (!path.ends_with(".pcap") && !path.ends_with(".pcapng"))
            continue;
        EXPECT_EQ(oneByOne({path}), inBlocks({path}, largest)) << path;
        all.push_back(path);
    }
    EXPECT_EQ(largest, CFrameBlock::capacity);
    EXPECT_EQ(oneByOne(all), inBlocks(all, largest)) << "several files";
}

// Behind every byte: the frames in front of it are given, and what is told is the same.
TEST(FrameBlock, LosesNothingOfAFileThatIsCut)
{
    for (char const * const name : {"multicast-ip-options.pcap", "nanosecond-big-endian.pcap"}) {
        std::string const whole = contentsOf(std::string(KETSTATS_CAPTURES) + '/' + name);
        std::size_t const step = whole.size() > 4000 ? 37 : 1;
        for (std::size_t length = 100; length < whole.size(); length += step) {
            TemporaryFile const cut(whole.substr(0, length));
            std::size_t largest = 0;
            ASSERT_EQ(oneByOne({cut.path()}), inBlocks({cut.path()}, largest)) << name << " of " << length;
        }
    }
}

TEST(FrameBlock, LosesNothingOfAFileThatIsDamaged)
{
    std::string const whole = contentsOf(std::string(KETSTATS_CAPTURES) + "/offload-directory.pcapng");
    for (std::size_t at = 200; at < whole.size(); at += 97) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(~damaged[at]);
        damaged[at + 1] = static_cast<char>(~damaged[at + 1]);
        TemporaryFile const file(damaged);
        std::size_t largest = 0;
        ASSERT_EQ(oneByOne({file.path()}), inBlocks({file.path()}, largest)) << "damaged at " << at;
    }
}

// What is behind the last frame that somebody wants isn't looked at: frames of other kinds there aren't told of.
TEST(FrameBlock, HasNoMoreThanItIsToTake)
{
    std::string const path = std::string(KETSTATS_CAPTURES) + "/internet-mixed.pcap";
    for (std::size_t const most : {std::size_t{1}, std::size_t{7}, CFrameBlock::capacity - 1}) {
        CCaptureFiles files({path});
        CFrameBlock block;
        block.setMost(most);
        std::vector<std::string> frames;
        for (files.nextBlock(block); block.size() > 0; files.nextBlock(block)) {
            ASSERT_LE(block.size(), most);
            for (std::size_t i = 0; i < block.size(); ++i)
                frames.push_back(textOf(block.frame(i)));
        }
        EXPECT_EQ(frames, oneByOne({path}).frames);
    }
}

} // namespace
