#include "host/support/Escaped.h"

#include <gtest/gtest.h>

using ketmon::escaped;
using ketmon::validUtf8;

namespace {

TEST(Escaped, LeavesOrdinaryTextAlone)
{
    for (char const * const text : {"", "capture.pcap", "C:\\files\\a b.pcap", "\xC3\xA9t\xC3\xA9.pcap",
                                    "\xE6\x97\xA5\xE6\x9C\xAC", "\xF0\x9F\x90\x9F"}) {
        EXPECT_EQ(escaped(text), text);
        EXPECT_EQ(validUtf8(text), text);
    }
}

TEST(Escaped, ShowsControlCharacters)
{
    EXPECT_EQ(escaped("a\033[2Jb"), "a\\x1b[2Jb");
    EXPECT_EQ(escaped("line\nline\r\t"), "line\\x0aline\\x0d\\x09");
    EXPECT_EQ(escaped(std::string_view("\0", 1)), "\\x00");
    EXPECT_EQ(escaped("\x7F"), "\\x7f");
    EXPECT_EQ(escaped("\xC2\x9B"
                      "31m"),
              "\\u009b31m")
        << "a terminal takes it for an escape sequence";
}

TEST(Escaped, ShowsWhatTurnsTheDirectionOrTheLine)
{
    EXPECT_EQ(escaped("\xE2\x80\xAE"
                      "gpj.exe"),
              "\\u202egpj.exe");
    EXPECT_EQ(escaped("\xE2\x81\xA6"), "\\u2066");
    EXPECT_EQ(escaped("\xE2\x81\xA9"), "\\u2069");
    EXPECT_EQ(escaped("\xE2\x80\x8E\xE2\x80\x8F"), "\\u200e\\u200f");
    EXPECT_EQ(escaped("\xD8\x9C"), "\\u061c");
    EXPECT_EQ(escaped("\xE2\x80\xA8\xE2\x80\xA9"), "\\u2028\\u2029");
}

TEST(Escaped, ShowsBytesThatAreNoText)
{
    for (auto const & [bytes, text] :
         {std::pair("\xFF", "\\xff"), std::pair("\x80", "\\x80"), std::pair("a\xC3", "a\\xc3"), // cut
          std::pair("\xE2\x80", "\\xe2\\x80"),                                                  // cut
          std::pair("\xC3(", "\\xc3("),                             // doesn't go on
          std::pair("\xC0\xAF", "\\xc0\\xaf"),                      // longer than need be
          std::pair("\xE0\x80\xAF", "\\xe0\\x80\\xaf"),             // the same
          std::pair("\xED\xA0\x80", "\\xed\\xa0\\x80"),             // half of a pair
          std::pair("\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80")}) { // beyond
        EXPECT_EQ(escaped(bytes), text);
        EXPECT_EQ(validUtf8(bytes), text);
    }
}

TEST(ValidUtf8, LeavesControlCharactersToJson)
{
    EXPECT_EQ(validUtf8("a\033\xC2\x9B\xFF"), "a\033\xC2\x9B\\xff");
}

} // namespace
