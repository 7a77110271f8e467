#include "tests/host/Program.h"

#include <gtest/gtest.h>

#include <filesystem>

using test::capture;
using test::fileContents;
using test::ketmon;

namespace {

std::string golden(std::string const & file)
{
    return fileContents(std::string(KETSTATS_TEST_DATA) + "/host/render/golden/tree/" + file);
}

std::string stemOf(std::string const & name)
{
    return std::filesystem::path(name).stem().string();
}

// The title has the name of the file as it was given.
std::string withoutTitle(std::string const & text)
{
    return text.substr(text.find(": "));
}

// Programs were written for these forms: they stay as they are, to the last digit.
TEST(Tree, TextStaysAsItIs)
{
    for (std::string const & name : test::captures())
        EXPECT_EQ(withoutTitle(ketmon({"read", "-q", "--tree", "--rows", "standard", capture(name)}).output),
                  withoutTitle(golden(stemOf(name) + ".txt")))
            << name;
}

TEST(Tree, JsonStaysAsItIs)
{
    for (char const * const name :
         {"nanosecond-big-endian.pcap", "offload-directory.pcapng", "truncated-snaplen.pcap"}) {
        EXPECT_EQ(ketmon({"read", "-q", "--tree", "--json", "--rows", "standard", capture(name)}).output,
                  golden(stemOf(name) + ".json"))
            << name;
        EXPECT_EQ(ketmon({"read", "-q", "--tree", "--json", "--rows", "standard", "--precision", "1",
                          "--link-speed", "1000000", capture(name)})
                      .output,
                  golden(stemOf(name) + ".precision.json"))
            << name;
    }
}

} // namespace
