#include "ketstats/ktools/MemoryBuffer.h"

#include "tests/support/Bytes.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>

using ktools::CMemoryBuffer;
using test::bytes;
using test::contents;
using test::Raised;
using test::raisedBy;

namespace {

void write(CMemoryBuffer & buffer, test::Bytes const & data)
{
    buffer.Write(data.data(), static_cast<int>(data.size()));
}

TEST(MemoryBuffer, StartsEmptyAndGrowsFromNothing)
{
    CMemoryBuffer buffer;
    ASSERT_EQ(buffer.capacity, 0);

    write(buffer, bytes("2a"));

    EXPECT_EQ(buffer.capacity, 5000);
    EXPECT_EQ(buffer.size, 1);
    EXPECT_EQ(contents(buffer), bytes("2a"));
}

TEST(MemoryBuffer, GrowsOnlyWhenTheBytesDoNotFit)
{
    CMemoryBuffer buffer;
    write(buffer, test::Bytes(4999, 1));
    unsigned char const * const storage = buffer.data;

    write(buffer, test::Bytes(1, 2));
    EXPECT_EQ(buffer.data, storage);
    EXPECT_EQ(buffer.capacity, 5000);

    write(buffer, test::Bytes(1, 3));
    EXPECT_EQ(buffer.capacity, 10000);
    EXPECT_EQ(buffer.size, 5001);
    EXPECT_EQ(buffer.data[4998], 1);
    EXPECT_EQ(buffer.data[4999], 2);
    EXPECT_EQ(buffer.data[5000], 3);
}

TEST(MemoryBuffer, GrowsToTheMultipleStrictlyAboveTheNeed)
{
    CMemoryBuffer exact;
    write(exact, test::Bytes(5000, 0));
    EXPECT_EQ(exact.capacity, 10000);

    CMemoryBuffer between;
    write(between, test::Bytes(12345, 0));
    EXPECT_EQ(between.capacity, 15000);
}

TEST(MemoryBuffer, FixedBufferTakesWhatFitsAndRefusesMore)
{
    CMemoryBuffer buffer(4, false);
    write(buffer, bytes("01 02 03"));
    unsigned char const * const storage = buffer.data;

    EXPECT_EQ(raisedBy<CMemoryBuffer::CException>([&] { write(buffer, bytes("04 05")); }),
              (Raised{1, "MemoryBuffer", 131, true}));
    EXPECT_EQ(buffer.size, 3);
    EXPECT_EQ(buffer.data, storage);

    write(buffer, bytes("04"));
    EXPECT_EQ(contents(buffer), bytes("01 02 03 04"));
}

TEST(MemoryBuffer, ReadingNothingAtTheEndSucceedsAndReadingMoreIsRefused)
{
    CMemoryBuffer buffer(bytes("07").data(), 1);
    unsigned char target = 0;
    buffer.Read(&target, 1);
    ASSERT_EQ(target, 7);

    buffer.Read(&target, 0);
    EXPECT_EQ(raisedBy<CMemoryBuffer::CException>([&] { buffer.Read(&target, 1); }),
              (Raised{1, "MemoryBuffer", 184, true}));
    EXPECT_EQ(target, 7);
    EXPECT_EQ(buffer.readPosition, 1);
}

TEST(MemoryBuffer, CursorBehindTheEndIsRefused)
{
    CMemoryBuffer buffer(bytes("07").data(), 1);
    buffer.readPosition = 2;
    unsigned char target = 0;

    EXPECT_EQ(raisedBy<CMemoryBuffer::CException>([&] { buffer.Read(&target, 0); }),
              (Raised{1, "MemoryBuffer", 187, true}));
    EXPECT_EQ(buffer.readPosition, 2);
}

TEST(MemoryBuffer, EmptyBufferKeepsItsReplacedStorageReadable)
{
    CMemoryBuffer buffer(2, true);
    unsigned char * const first = buffer.data;
    first[0] = 9;

    write(buffer, bytes("01 02 03"));

    EXPECT_NE(buffer.data, first);
    EXPECT_EQ(first[0], 9);
    EXPECT_EQ(buffer.capacity, 5000);
}

TEST(MemoryBuffer, ExceptionIsCaughtAsItsBase)
{
    CMemoryBuffer buffer(0, false);
    try {
        write(buffer, bytes("01"));
        FAIL() << "nothing raised";
    } catch (ktools::CException * raised) {
        EXPECT_EQ(raised->code, 1);
        EXPECT_TRUE(raised->flag);
        delete raised;
    }
}

// Random writes and reads against a queue of bytes.
TEST(MemoryBuffer, InterleavedWritesAndReadsSeeTheSameBytes)
{
    for (unsigned int seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        CMemoryBuffer buffer;
        std::deque<unsigned char> model;
        for (int step = 0; step < 500; ++step) {
            int const count = static_cast<int>(random() % 300);
            if (random() % 2 == 0) {
                test::Bytes data(static_cast<std::size_t>(count));
                for (unsigned char & byte : data)
                    byte = static_cast<unsigned char>(random());
                write(buffer, data);
                model.insert(model.end(), data.begin(), data.end());
            } else if (count <= static_cast<int>(model.size())) {
                test::Bytes target(static_cast<std::size_t>(count));
                buffer.Read(target.data(), count);
                ASSERT_TRUE(std::equal(target.begin(), target.end(), model.begin()));
                model.erase(model.begin(), model.begin() + count);
            } else {
                test::Bytes target(static_cast<std::size_t>(count));
                int const position = buffer.readPosition;
                ASSERT_EQ(
                    raisedBy<CMemoryBuffer::CException>([&] { buffer.Read(target.data(), count); }).line,
                    184);
                ASSERT_EQ(buffer.readPosition, position);
            }
            ASSERT_EQ(buffer.size - buffer.readPosition, static_cast<int>(model.size()));
        }
    }
}

TEST(MemoryBuffer, RefusesANegativeCount)
{
    for (int const count : {-1, INT_MIN})
        EXPECT_EQ(raisedBy<CMemoryBuffer::CException>([&] { CMemoryBuffer const buffer("abc", count); }),
                  (Raised{1, "MemoryBuffer", 34, true}));
    CMemoryBuffer const none(nullptr, 0);
    EXPECT_EQ(none.size, 0);
}

} // namespace
