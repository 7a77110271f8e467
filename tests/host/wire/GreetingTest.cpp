#include "host/wire/Greeting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ketmon;
using testing::HasSubstr;

namespace {

constexpr std::uint64_t own = 0x0123456789ABCDEF;

CHello helloFor(std::vector<std::string> const & selection)
{
    CHello hello;
    hello.fingerprint = own;
    hello.selection = selection;
    return hello;
}

CWelcome someWelcome()
{
    CWelcome welcome;
    welcome.fingerprint = own;
    welcome.interval = 2500;
    welcome.heartbeat = 5000;
    welcome.identity = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 255};
    welcome.epoch = 0x01DD30F400000000;
    welcome.groups = 0x0FFE;
    welcome.errors = 0x0006;
    welcome.kind = SourceKind::interface;
    welcome.linkSpeed = 1000000000;
    welcome.limits.stations = 4096;
    welcome.limits.stationUdpPorts = 65535;
    welcome.source = "eth0";
    welcome.agent = "web7";
    return welcome;
}

// The same with something else in the place of some of its bytes.
std::string changed(std::string body, std::size_t at, std::string const & bytes)
{
    return body.replace(at, bytes.size(), bytes);
}

std::string reasonOf(auto const & operation)
{
    try {
        operation();
    } catch (CProtocolError const & error) {
        return error.what();
    }
    return "";
}

TEST(Greeting, HelloTellsTheSelection)
{
    CHello const hello = helloFor({"1.5", "", std::string(255, '1')});

    EXPECT_EQ(CHello::parsed(hello.body(), own).selection, hello.selection);
}

TEST(Greeting, HelloHasItsBytes)
{
    EXPECT_EQ(helloFor({"1.5"}).body(), std::string("KETM"                             // magic
                                                    "\x02\0"                           // version
                                                    "\xEF\xCD\xAB\x89\x67\x45\x23\x01" // fingerprint
                                                    "\x01\0"                           // one identifier
                                                    "\x03"
                                                    "1.5",
                                                    20));
}

TEST(Greeting, HelloOfBothTreesHasTheSecondFingerprintBehind)
{
    CHello hello = helloFor({"2.4"});
    std::string const first = hello.body();
    hello.extendedFingerprint = 0x1122334455667788;

    EXPECT_EQ(hello.body(), first + "\x88\x77\x66\x55\x44\x33\x22\x11");
    EXPECT_EQ(CHello::parsed(hello.body(), own).extendedFingerprint, hello.extendedFingerprint);
    EXPECT_EQ(CHello::parsed(first, own).extendedFingerprint, std::nullopt);
}

TEST(Greeting, WelcomeHasItsBytes)
{
    std::string const expected("KETM"                             // magic
                               "\x02\0"                           // version
                               "\xEF\xCD\xAB\x89\x67\x45\x23\x01" // fingerprint
                               "\xC4\x09\0\0"                     // 2500 ms between two samples
                               "\x88\x13\0\0"                     // 5000 ms of silence
                               "\0\1\2\3\4\5\6\7"                 // identity
                               "\x08\x09\x0A\x0B\x0C\x0D\x0E\xFF"
                               "\0\0\0\0\xF4\x30\xDD\x01" // epoch
                               "\xFE\x0F\0\0"             // groups 1.1 to 1.11
                               "\x06\0\0\0"               // errors 1.2.1 and 1.2.2
                               "\x02"                     // an interface
                               "\x01\0"                   // Ethernet
                               "\0\xCA\x9A\x3B\0\0\0\0"   // 1 Gbit/s
                               "\0\x10\0\0"               // limits: stations
                               "\xC8\0\0\0"               // protocols
                               "\xC8\0\0\0"               // MAC traffic
                               "\xE8\x03\0\0"             // IP traffic
                               "\xC8\0\0\0"               // ARP
                               "\xC8\0\0\0"               // IP sub-protocols
                               "\xE8\x03\0\0"             // TCP ports
                               "\xE8\x03\0\0"             // UDP ports
                               "\xC8\0\0\0"               // TCP ports of a station
                               "\xFF\xFF\0\0"             // UDP ports of a station
                               "\x04\0"
                               "eth0"
                               "\x04\0"
                               "web7",
                               117);

    EXPECT_EQ(someWelcome().body(), expected);
}

TEST(Greeting, WelcomeOfBothTreesHasTheOtherGroupsAndLimitsToo)
{
    CWelcome welcome = someWelcome();
    welcome.limits.ipv6Connections = 300;
    welcome.limits.neighbours = 65535;
    std::string const first = welcome.body();
    EXPECT_EQ(first, someWelcome().body()) << "no limits of the second tree unless that is known";

    welcome.extended = true;
    welcome.groups |= 0x00FE0000;

    EXPECT_EQ(welcome.body(), changed(first, 48, "\xFE") + std::string("\x2C\x01\0\0"  // IPv6 traffic
                                                                       "\xC8\0\0\0"    // IPv6 protocols
                                                                       "\xE8\x03\0\0"  // TCP ports
                                                                       "\xE8\x03\0\0"  // UDP ports
                                                                       "\x01\x10\0\0"  // outer VLANs
                                                                       "\x01\x10\0\0"  // inner VLANs
                                                                       "\xFF\xFF\0\0", // neighbours
                                                                       28));
    CWelcome const read = CWelcome::parsed(welcome.body(), own);
    EXPECT_TRUE(read.extended);
    EXPECT_EQ(read.groups, welcome.groups);
    EXPECT_EQ(read.limits, welcome.limits);
    EXPECT_FALSE(CWelcome::parsed(first, own).extended);
}

TEST(Greeting, WelcomeTellsAllOfIt)
{
    CWelcome const sent = someWelcome();

    CWelcome const read = CWelcome::parsed(sent.body(), own);

    EXPECT_EQ(read.interval, sent.interval);
    EXPECT_EQ(read.heartbeat, sent.heartbeat);
    EXPECT_EQ(read.identity, sent.identity);
    EXPECT_EQ(read.epoch, sent.epoch);
    EXPECT_EQ(read.groups, sent.groups);
    EXPECT_EQ(read.errors, sent.errors);
    EXPECT_EQ(read.kind, sent.kind);
    EXPECT_EQ(read.linkType, ketmon::linktype::ethernet);
    EXPECT_EQ(read.linkSpeed, sent.linkSpeed);
    EXPECT_EQ(read.limits, sent.limits);
    EXPECT_EQ(read.source, sent.source);
    EXPECT_EQ(read.agent, sent.agent);
}

TEST(Greeting, AHeartbeatIsTakenForTheNearestThatMakesSense)
{
    std::pair<std::uint32_t, std::uint32_t> const announced[] = {
        {0, 1000},      {1, 1000},      {1000, 1000},       {1001, 1001},
        {60000, 60000}, {60001, 60000}, {0xFFFFFFFF, 60000}};
    for (auto const & [said, taken] : announced) {
        CWelcome welcome = someWelcome();
        welcome.heartbeat = said;
        EXPECT_EQ(CWelcome::parsed(welcome.body(), own).heartbeat, taken);
    }
}

TEST(Greeting, OfOtherEndsSaysWhatDoesNotMatch)
{
    // Of version 1, whose welcome ends behind the interval.
    CHello hello = helloFor({});
    hello.version = 1;
    CWelcome welcome = someWelcome();
    welcome.version = 1;
    EXPECT_THAT(reasonOf([&] { CHello::parsed(hello.body(), own); }),
                HasSubstr("the console speaks version 1 of the protocol, and this end version 2"));
    EXPECT_THAT(reasonOf([&] { CWelcome::parsed(welcome.body().substr(0, 18), own); }),
                HasSubstr("the agent speaks version 1 of the protocol, and this end version 2"));

    hello.version = protocolVersion;
    hello.fingerprint = 5;
    EXPECT_THAT(reasonOf([&] { CHello::parsed(hello.body(), own); }), HasSubstr("other statistics"));
    EXPECT_THAT(reasonOf([&] { CHello::parsed("SSH-2.0-something", own); }),
                HasSubstr("isn't one of ketmon's"));
}

TEST(Greeting, CutAtAnyLengthOrTooLongIsRefused)
{
    std::string const hello = helloFor({"1.5", "1.4.1"}).body();
    std::string const welcome = someWelcome().body();

    for (std::size_t length = 0; length < hello.size(); ++length)
        EXPECT_THROW(CHello::parsed(hello.substr(0, length), own), CProtocolError) << length;
    for (std::size_t length = 0; length < welcome.size(); ++length)
        EXPECT_THROW(CWelcome::parsed(welcome.substr(0, length), own), CProtocolError) << length;
    EXPECT_THROW(CHello::parsed(hello + "x", own), CProtocolError);
    EXPECT_THROW(CWelcome::parsed(welcome + "x", own), CProtocolError);

    // What is behind for the second tree is there whole or not at all.
    CHello helloOfBoth = helloFor({"1.5", "1.4.1"});
    helloOfBoth.extendedFingerprint = own;
    CWelcome welcomeOfBoth = someWelcome();
    welcomeOfBoth.extended = true;
    for (std::size_t length = hello.size() + 1; length < helloOfBoth.body().size(); ++length)
        EXPECT_THROW(CHello::parsed(helloOfBoth.body().substr(0, length), own), CProtocolError) << length;
    for (std::size_t length = welcome.size() + 1; length < welcomeOfBoth.body().size(); ++length)
        EXPECT_THROW(CWelcome::parsed(welcomeOfBoth.body().substr(0, length), own), CProtocolError) << length;
    EXPECT_THROW(CHello::parsed(helloOfBoth.body() + "x", own), CProtocolError);
    EXPECT_THROW(CWelcome::parsed(welcomeOfBoth.body() + "x", own), CProtocolError);
    EXPECT_THROW(CWelcome::parsed(changed(welcomeOfBoth.body(), welcome.size(), std::string("\1\0", 2)), own),
                 CProtocolError)
        << "a table of one row";
}

TEST(Greeting, WelcomeThatNoAgentSaysIsRefused)
{
    std::string const good = someWelcome().body();
    auto const reasonWith = [&](std::size_t at, std::string const & bytes) {
        return reasonOf([&] { CWelcome::parsed(changed(good, at, bytes), own); });
    };

    EXPECT_EQ(reasonWith(0, "K"), "");
    EXPECT_THAT(reasonWith(54, "\x03"), HasSubstr("an unknown kind, 3"));
    EXPECT_THAT(reasonWith(65, std::string("\1\0", 2)), HasSubstr("a table of 1 rows"));
    EXPECT_THAT(reasonWith(69, std::string("\0\0\1\0", 4)), HasSubstr("a table of 65536 rows"));
    EXPECT_THAT(reasonWith(105, std::string("\x01\x04", 2)), HasSubstr("too long"));
}

TEST(Greeting, NamesBeyondTheLongestAreCut)
{
    CWelcome welcome = someWelcome();
    welcome.source = std::string(70000, 'x');

    EXPECT_EQ(CWelcome::parsed(welcome.body(), own).source, std::string(longestText, 'x'));
}

} // namespace
