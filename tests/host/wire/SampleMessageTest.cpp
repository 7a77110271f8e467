#include "host/wire/SampleMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ketmon;
using KetStats::CLedgers;

namespace {

CSampleHead someHead()
{
    CSampleHead head;
    head.sequence = 3;
    head.zero = 0x01DD30F400000000;
    head.moment = 0x01DD30F401312D00;
    head.interval = 10000000;
    head.counters = {7, {}, 0};
    head.ledgers.protocols = {1, 2, 3, 0, 0};
    head.ledgers.stationUdpPorts = {4, 5, 6, 7, 8};
    return head;
}

CSampleHead parsed(std::string const & body, CLedgers const & known = {})
{
    std::string_view packed;
    return CSampleHead::parsed(body, known, packed);
}

TEST(SampleMessage, HasItsBytes)
{
    std::string const expected("\3\0\0\0\0\0\0\0"                 // sequence
                               "\0\0\0\0\xF4\x30\xDD\x01"         // zero point
                               "\x00\x2D\x31\x01\xF4\x30\xDD\x01" // two seconds later
                               "\x80\x96\x98\0\0\0\0\0"           // the last one of them
                               "\x05"                             // received and dropped by the interface
                               "\7\0\0\0\0\0\0\0"                 // 7 received
                               "\0\0\0\0\0\0\0\0"                 // none dropped
                               "\x02\x02"                         // ledgers 1 and 9: protocols,
                               "\1\0\0\0\0\0\0\0"                 // a row,
                               "\2\0\0\0\0\0\0\0"                 // 2 frames of
                               "\3\0\0\0\0\0\0\0"                 // 3 bytes
                               "\0\0\0\0\0\0\0\0"
                               "\0\0\0\0\0\0\0\0"
                               "\4\0\0\0\0\0\0\0" // and UDP ports of stations
                               "\5\0\0\0\0\0\0\0"
                               "\6\0\0\0\0\0\0\0"
                               "\7\0\0\0\0\0\0\0"
                               "\x08\0\0\0\0\0\0\0"
                               "\0\0", // a packed snapshot without a change
                               133);

    EXPECT_EQ(someHead().body({}, std::string_view("\0\0", 2)), expected);
}

TEST(SampleMessage, OfBothTreesHasTheLedgersOfBoth)
{
    CSampleHead head = someHead();
    head.ledgers.ipv6Connections = {9, 10, 11, 0, 0};
    head.ledgers.neighbours = {12, 0, 0, 0, 0};
    std::string const first = someHead().body({}, "packed");
    EXPECT_EQ(head.body({}, "packed"), first) << "those of the second tree are only told where it is known";
    head.bothTrees = true;

    std::string const both = head.body({}, "packed");

    constexpr std::size_t set = 4 * 8 + 1 + 2 * 8;
    std::string const expected = first.substr(0, set) + std::string("\x02\x06\x01\0", 4) + // 1, 9, 10, 16
                                 first.substr(set + 2, 80) +
                                 std::string("\x09\0\0\0\0\0\0\0" // IPv6 traffic
                                             "\x0A\0\0\0\0\0\0\0"
                                             "\x0B\0\0\0\0\0\0\0"
                                             "\0\0\0\0\0\0\0\0"
                                             "\0\0\0\0\0\0\0\0"
                                             "\x0C\0\0\0\0\0\0\0" // neighbours
                                             "\0\0\0\0\0\0\0\0"
                                             "\0\0\0\0\0\0\0\0"
                                             "\0\0\0\0\0\0\0\0"
                                             "\0\0\0\0\0\0\0\0",
                                             80) +
                                 "packed";
    EXPECT_EQ(both, expected);
    std::string_view packed;
    EXPECT_EQ(CSampleHead::parsed(both, {}, packed, true).ledgers, head.ledgers);
    EXPECT_EQ(packed, "packed");
    for (std::size_t length = 0; length < both.size() - 6; ++length)
        EXPECT_THROW(CSampleHead::parsed(both.substr(0, length), {}, packed, true), CProtocolError) << length;
    std::string unknown = both;
    unknown[set + 2] = 3;
    EXPECT_THROW(CSampleHead::parsed(unknown, {}, packed, true), CProtocolError);
}

TEST(SampleMessage, TellsAllOfIt)
{
    CSampleHead const sent = someHead();
    std::string const body = sent.body({}, "packed");
    std::string_view packed;

    CSampleHead const read = CSampleHead::parsed(body, {}, packed);

    EXPECT_EQ(read.sequence, sent.sequence);
    EXPECT_EQ(read.zero, sent.zero);
    EXPECT_EQ(read.moment, sent.moment);
    EXPECT_EQ(read.interval, sent.interval);
    EXPECT_EQ(read.counters, sent.counters);
    EXPECT_EQ(read.ledgers, sent.ledgers);
    EXPECT_EQ(packed, "packed");
}

TEST(SampleMessage, CarriesOnlyTheLedgersThatChanged)
{
    CSampleHead const before = someHead();
    CSampleHead now = before;
    now.ledgers.protocols.rows = 9;

    std::string const body = now.body(before.ledgers, "");

    EXPECT_EQ(body.size(), 4 * 8 + 1 + 2 * 8 + 2 + 5 * 8);
    EXPECT_EQ(parsed(body, before.ledgers).ledgers, now.ledgers);
    EXPECT_EQ(before.body(before.ledgers, "").size(), 4 * 8 + 1 + 2 * 8 + 2);
}

TEST(SampleMessage, CutInItsHeadIsRefused)
{
    std::string const body = someHead().body({}, "");

    for (std::size_t length = 0; length < body.size(); ++length)
        EXPECT_THROW(parsed(body.substr(0, length)), CProtocolError) << length;
}

TEST(SampleMessage, WithWhatNobodyKnowsIsRefused)
{
    std::string body = CSampleHead().body({}, "");
    EXPECT_NO_THROW(parsed(body));

    body[32] = 8;
    EXPECT_THROW(parsed(body), CProtocolError);
    body[32] = 0;
    body[34] = 4;
    EXPECT_THROW(parsed(body), CProtocolError);
}

TEST(End, HasItsBytes)
{
    CEnd const end{EndReason::failed, 258, "why"};

    EXPECT_EQ(end.body(), std::string("\4"               // failed
                                      "\2\1\0\0\0\0\0\0" // behind 258 frames
                                      "\3\0"
                                      "why",
                                      14));
}

TEST(End, TellsTheReason)
{
    for (EndReason const reason :
         {EndReason::ended, EndReason::interrupted, EndReason::interfaceGone, EndReason::failed}) {
        CEnd const read = CEnd::parsed(CEnd{reason, 12345678901, "more"}.body());

        EXPECT_EQ(read.reason, reason);
        EXPECT_EQ(read.frames, 12345678901U);
        EXPECT_EQ(read.text, "more");
    }
}

TEST(End, CutTooLongOrWithoutAReasonIsRefused)
{
    std::string const body = CEnd{EndReason::ended, 1, "x"}.body();

    for (std::size_t length = 0; length < body.size(); ++length)
        EXPECT_THROW(CEnd::parsed(body.substr(0, length)), CProtocolError) << length;
    EXPECT_THROW(CEnd::parsed(body + "x"), CProtocolError);
    EXPECT_THROW(CEnd::parsed('\0' + body.substr(1)), CProtocolError);
    EXPECT_THROW(CEnd::parsed('\5' + body.substr(1)), CProtocolError);
}

} // namespace
