#include "host/wire/Protocol.h"

#include "fuzz/ReadMessagesCheck.h"
#include "tests/support/Regressions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ketmon;

namespace {

constexpr std::uint64_t own = 0x0123456789ABCDEF;

std::string const threeMessages = encoded(MessageType::full, "abc") + encoded(MessageType::delta, "") +
                                  encoded(MessageType::end, "12345678");

std::vector<std::string> messagesOf(std::vector<std::string> const & pieces)
{
    CMessageReader reader(100);
    std::vector<std::string> messages;
    CMessage message;
    for (std::string const & piece : pieces) {
        reader.feed(piece);
        while (reader.next(message))
            messages.push_back(std::to_string(static_cast<int>(message.type)) + message.body);
    }
    return messages;
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

TEST(FuzzRegression, ReadMessagesKeepsItsRulesOnEveryPastInput)
{
    test::replayRegressions<char>("read-messages", [](auto const & bytes) {
        return fuzz::checkMessages({bytes.data(), bytes.size()});
    });
}

TEST(Messages, HaveTheirLengthInFront)
{
    EXPECT_EQ(encoded(MessageType::delta, "xyz"), std::string("\4\0\0\0"
                                                              "\5"
                                                              "xyz",
                                                              8));
}

TEST(Messages, ComeOutWholeHoweverTheyWereCut)
{
    std::vector<std::string> const expected = {"4abc", "5", "612345678"};

    for (std::size_t first = 0; first <= threeMessages.size(); ++first)
        for (std::size_t second = first; second <= threeMessages.size(); ++second)
            EXPECT_EQ(messagesOf({threeMessages.substr(0, first), threeMessages.substr(first, second - first),
                                  threeMessages.substr(second)}),
                      expected);
}

TEST(Messages, ThatAreCutShortNeverComeOut)
{
    std::string const message = encoded(MessageType::full, "abc");
    for (std::size_t length = 0; length < message.size(); ++length)
        EXPECT_TRUE(messagesOf({message.substr(0, length)}).empty());
}

TEST(Messages, OfForbiddenLengthsAreRefusedBeforeTheyArrive)
{
    EXPECT_THROW(messagesOf({std::string("\0\0\0\0", 4)}), CProtocolError);
    EXPECT_THROW(messagesOf({std::string("\x65\0\0\0", 4)}), CProtocolError);
    EXPECT_THROW(messagesOf({"\xFF\xFF\xFF\xFF"}), CProtocolError);
    EXPECT_THROW(messagesOf({"GET / HTTP/1.1\r\n"}), CProtocolError);
    EXPECT_NO_THROW(messagesOf({std::string("\x64\0\0\0", 4)}));
}

TEST(Greeting, HelloTellsTheSelection)
{
    CGreeting greeting;
    greeting.fingerprint = own;
    greeting.selection = {"1.5", "", std::string(255, '1')};

    EXPECT_EQ(CGreeting::parsedHello(greeting.hello(), own).selection, greeting.selection);
}

TEST(Greeting, HelloHasItsBytes)
{
    CGreeting greeting;
    greeting.fingerprint = own;
    greeting.selection = {"1.5"};

    EXPECT_EQ(greeting.hello(), std::string("KETM"                             // magic
                                            "\x01\0"                           // version
                                            "\xEF\xCD\xAB\x89\x67\x45\x23\x01" // fingerprint
                                            "\x01\0"                           // one identifier
                                            "\x03"
                                            "1.5",
                                            20));
}

TEST(Greeting, WelcomeTellsTheInterval)
{
    CGreeting greeting;
    greeting.fingerprint = own;
    greeting.interval = 2500;

    EXPECT_EQ(CGreeting::parsedWelcome(greeting.welcome(), own).interval, 2500U);
}

TEST(Greeting, OfOtherEndsSaysWhatDoesNotMatch)
{
    CGreeting other;
    other.fingerprint = own;
    other.version = 9;
    EXPECT_THAT(reasonOf([&] { CGreeting::parsedHello(other.hello(), own); }),
                testing::HasSubstr("version 9"));
    other.version = protocolVersion;
    other.fingerprint = 5;
    EXPECT_THAT(reasonOf([&] { CGreeting::parsedWelcome(other.welcome(), own); }),
                testing::HasSubstr("other statistics"));
    EXPECT_THAT(reasonOf([&] { CGreeting::parsedHello("SSH-2.0-something", own); }),
                testing::HasSubstr("isn't one of ketmon's"));
}

TEST(Greeting, CutAtAnyLengthOrTooLongIsRefused)
{
    CGreeting greeting;
    greeting.fingerprint = own;
    greeting.selection = {"1.5", "1.4.1"};
    std::string const hello = greeting.hello();
    std::string const welcome = greeting.welcome();

    for (std::size_t length = 0; length < hello.size(); ++length)
        EXPECT_THROW(CGreeting::parsedHello(hello.substr(0, length), own), CProtocolError) << length;
    for (std::size_t length = 0; length < welcome.size(); ++length)
        EXPECT_THROW(CGreeting::parsedWelcome(welcome.substr(0, length), own), CProtocolError) << length;
    EXPECT_THROW(CGreeting::parsedHello(hello + "x", own), CProtocolError);
    EXPECT_THROW(CGreeting::parsedWelcome(welcome + "x", own), CProtocolError);
    EXPECT_EQ(parsedEnd(encodedEnd(own)), own);
    EXPECT_THROW(parsedEnd("1234567"), CProtocolError);
}

} // namespace
