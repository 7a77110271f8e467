#include "host/wire/Protocol.h"

#include "fuzz/ReadMessagesCheck.h"
#include "tests/support/Regressions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

using namespace ketmon;
using testing::HasSubstr;

namespace {

std::string const threeMessages = encoded(MessageType::full, "abc") + encoded(MessageType::heartbeat, "") +
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

std::string reasonOf(std::string const & bytes)
{
    try {
        messagesOf({bytes});
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
    EXPECT_EQ(encoded(MessageType::heartbeat, ""), std::string("\1\0\0\0"
                                                               "\7",
                                                               5));
}

// Taken away one by one, each would move all that are behind it: minutes for so many.
TEST(Messages, ThatAreSmallAndManyTakeNoTime)
{
    std::string bytes;
    for (int i = 0; i < 1000000; ++i)
        bytes += encoded(MessageType::heartbeat, "");
    CMessageReader reader(100);
    auto const start = std::chrono::steady_clock::now();
    unsigned int count = 0;

    reader.feed(bytes);
    for (CMessage message; reader.next(message);)
        ++count;

    EXPECT_EQ(count, 1000000U);
    EXPECT_EQ(reader.begun(), 0U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST(Messages, ComeOutWholeHoweverTheyWereCut)
{
    std::vector<std::string> const expected = {"4abc", "7", "612345678"};

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
    std::string const good = encoded(MessageType::heartbeat, "");

    EXPECT_THROW(messagesOf({std::string("\0\0\0\0", 4)}), CProtocolError);
    EXPECT_THROW(messagesOf({std::string("\x65\0\0\0", 4)}), CProtocolError);
    EXPECT_THROW(messagesOf({"\xFF\xFF\xFF\xFF"}), CProtocolError);
    EXPECT_NO_THROW(messagesOf({std::string("\x64\0\0\0", 4)}));
    EXPECT_THAT(reasonOf(good + std::string("\x65\0\0\0", 4)),
                HasSubstr("a message of 101 bytes is announced"));
}

TEST(Messages, MayBecomeLargerOnceThatIsAllowed)
{
    CMessageReader reader(10);
    CMessage message;
    reader.feed(encoded(MessageType::heartbeat, ""));
    ASSERT_TRUE(reader.next(message));

    reader.allow(1000);
    reader.feed(encoded(MessageType::full, std::string(500, 'x')));

    EXPECT_TRUE(reader.next(message));
}

TEST(Messages, OfAStrangerNameIt)
{
    EXPECT_EQ(reasonOf("HTTP/1.1 400 Bad Request\r\n"),
              "a web server is at the other end, which began with 'HTTP/1.1 400 Bad'");
    EXPECT_THAT(reasonOf("GET / HTTP/1.1\r\n"), HasSubstr("a client of HTTP is"));
    EXPECT_THAT(reasonOf("SSH-2.0-x\r\n"), HasSubstr("a speaker of SSH is"));
    // A first record of TLS, and the alert that answers what is none.
    EXPECT_THAT(reasonOf(std::string("\x16\x03\x01\x02\x00\x01", 6)), HasSubstr("a speaker of TLS is"));
    EXPECT_THAT(reasonOf(std::string("\x15\x03\x03\x00\x02\x02\x46", 7)), HasSubstr("a speaker of TLS is"));
    EXPECT_THAT(reasonOf("220 example\r\n"), HasSubstr("began with '220 example\\x0d\\x0a'"));
    EXPECT_THAT(reasonOf("\x1B[31mred"), HasSubstr("'\\x1b[31mred'"));
    // One that has said something that makes sense is none.
    EXPECT_THAT(reasonOf(encoded(MessageType::heartbeat, "") + "GET / HTTP"), HasSubstr("is announced"));
}

TEST(Refusal, IsTextThatMayBeMarkedAsLasting)
{
    EXPECT_EQ((CRefusal{"full", false}.body()), "full");
    EXPECT_EQ((CRefusal{"old", true}.body()), std::string("old\0", 4));
    // Neither is said by chance, or by what is cut.
    EXPECT_EQ((CRefusal{std::string("full\0", 5), false}.body()), "full");
    for (bool const lasting : {false, true}) {
        std::string const body = CRefusal{std::string(2000, 'x'), lasting}.body();
        EXPECT_EQ(body.size(), longestText);
        EXPECT_EQ(CRefusal::parsed(body).lasting, lasting);
        EXPECT_EQ(CRefusal::parsed(body).text, std::string(longestText - (lasting ? 1 : 0), 'x'));
    }
    EXPECT_EQ(CRefusal::parsed("").text, "");
    EXPECT_FALSE(CRefusal::parsed("").lasting);
}

TEST(Messages, ShowTheTextOfAPeerEscapedAndShort)
{
    EXPECT_EQ(shownText("a\x1B[2Jb\n\u202E"), "a\\x1b[2Jb\\x0a\\u202e");
    EXPECT_EQ(shownText(std::string(longestText, 'x')).size(), longestText);
    EXPECT_EQ(shownText(std::string(5000000, 'x')), std::string(longestText, 'x') + "...");
}

} // namespace
