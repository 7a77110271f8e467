#include "tests/host/Program.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

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
    for (std::string const & name : test::captures()) {
        std::string const expected = withoutTitle(golden(stemOf(name) + ".txt"));
        std::string const text =
            withoutTitle(ketmon({"read", "-q", "--tree", "--rows", "standard", capture(name)}).output);
        EXPECT_EQ(text.substr(0, expected.size()), expected) << name;
        // Then comes the second tree.
        EXPECT_EQ(text.substr(expected.size(), 16), "2.1 IPv6 traffic") << name;
    }
}

// A document without what it has of the second tree.
std::string firstTreeOf(std::string const & text)
{
    auto document = nlohmann::ordered_json::parse(text);
    EXPECT_EQ(document.erase("extended"), 1U);
    return document.dump(2) + '\n';
}

TEST(Tree, JsonStaysAsItIs)
{
    for (char const * const name :
         {"nanosecond-big-endian.pcap", "offload-directory.pcapng", "truncated-snaplen.pcap"}) {
        EXPECT_EQ(firstTreeOf(
                      ketmon({"read", "-q", "--tree", "--json", "--rows", "standard", capture(name)}).output),
                  golden(stemOf(name) + ".json"))
            << name;
        EXPECT_EQ(firstTreeOf(ketmon({"read", "-q", "--tree", "--json", "--rows", "standard", "--precision",
                                      "1", "--link-speed", "1000000", capture(name)})
                                  .output),
                  golden(stemOf(name) + ".precision.json"))
            << name;
    }
}

} // namespace
