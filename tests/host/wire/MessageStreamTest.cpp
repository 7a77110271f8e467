#include "host/wire/MessageStream.h"

#include "ketstats/ktools/Exception.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/connect_pair.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <utility>

using namespace ketmon;
using namespace std::chrono_literals;
using testing::HasSubstr;

namespace {

class Stream : public CMessageStream
{
public:
    explicit Stream(CSocket socket) : CMessageStream(std::move(socket), 1 << 20, 4 << 20) {}

    using CMessageStream::keepAlive;
    using CMessageStream::send;

    std::string why;        // it was lost
    unsigned int heard = 0; // messages
    std::function<void()> fails = [] {};

private:
    void received(CMessage const &) override
    {
        fails();
        ++heard;
    }
    void misunderstood(std::string const & text) override { why = text; }
    void lost(bool, std::string const & text) override { why = text; }
};

// One end of a connection is a stream, the other one does what a test wants.
struct Ends
{
    asio::io_context io;
    asio::local::stream_protocol::socket other{io};
    std::shared_ptr<Stream> stream;

    Ends()
    {
        asio::local::stream_protocol::socket own(io);
        asio::local::connect_pair(own, other);
        stream = std::make_shared<Stream>(CStreamSocket(std::move(own)));
        stream->startReading();
    }

    // Until it is lost, or the time is over.
    void run(std::chrono::milliseconds most)
    {
        auto const end = std::chrono::steady_clock::now() + most;
        while (stream->why.empty() && std::chrono::steady_clock::now() < end)
            io.run_for(5ms);
    }

    void say(std::string const & bytes) { asio::write(other, asio::buffer(bytes)); }
};

TEST(MessageStream, GivesUpOnAPeerThatIsSilent)
{
    Ends ends;
    ends.stream->keepAlive(40ms);

    ends.run(20s);

    EXPECT_THAT(ends.stream->why, HasSubstr("nothing was heard for"));
    EXPECT_TRUE(ends.stream->closed());
}

TEST(MessageStream, GivesUpOnAMessageThatDripsIn)
{
    Ends ends;
    ends.stream->keepAlive(40ms);
    std::string const message = encoded(MessageType::hello, std::string(1000, 'x'));
    asio::steady_timer drip(ends.io);
    std::size_t sent = 0;
    std::function<void()> const next = [&] {
        drip.expires_after(10ms);
        drip.async_wait([&](auto error) {
            if (error || ends.stream->closed() || sent == message.size())
                return;
            ends.say(message.substr(sent++, 1));
            next();
        });
    };
    next();

    ends.run(20s);

    EXPECT_THAT(ends.stream->why, HasSubstr("a message of 1005 bytes didn't arrive within"));
    EXPECT_GT(sent, 3U);
    EXPECT_EQ(ends.stream->heard, 0U);
}

TEST(MessageStream, GivesUpOnAPeerThatTakesNothing)
{
    Ends ends;
    ends.stream->keepAlive(40ms);
    ends.stream->send(encoded(MessageType::full, std::string(1 << 20, 'x')));
    // It says that it is there all the while, so that is no reason.
    asio::steady_timer beat(ends.io);
    std::function<void()> const next = [&] {
        beat.expires_after(20ms);
        beat.async_wait([&](auto error) {
            if (error || ends.stream->closed())
                return;
            ends.say(encoded(MessageType::heartbeat, ""));
            next();
        });
    };
    next();

    // A megabyte has a minute and more; no test waits so long.
    ends.run(1s);
    EXPECT_EQ(ends.stream->why, "");

    Ends small;
    small.stream->keepAlive(40ms);
    asio::socket_base::send_buffer_size const little(4096);
    small.other.set_option(asio::socket_base::receive_buffer_size(4096));
    static_cast<void>(little);
    for (int i = 0; i < 3000; ++i)
        small.stream->send(encoded(MessageType::delta, std::string(1000, 'x')));
    asio::steady_timer smallBeat(small.io);
    std::function<void()> const again = [&] {
        smallBeat.expires_after(20ms);
        smallBeat.async_wait([&](auto error) {
            if (error || small.stream->closed())
                return;
            small.say(encoded(MessageType::heartbeat, ""));
            again();
        });
    };
    again();
    small.run(20s);
    EXPECT_THAT(small.stream->why, HasSubstr("it took nothing of what it was sent for"));
}

TEST(MessageStream, StaysWithAPeerThatOnlySaysThatItIsThere)
{
    Ends ends;
    ends.stream->keepAlive(100ms);
    auto const peer = std::make_shared<Stream>(CStreamSocket(std::move(ends.other)));
    peer->startReading();
    peer->keepAlive(100ms);

    ends.run(1500ms);

    EXPECT_EQ(ends.stream->why, "");
    EXPECT_EQ(peer->why, "");
    EXPECT_GT(ends.stream->heard, 5U);
    EXPECT_GT(peer->heard, 5U);
    peer->close();
    ends.stream->close();
}

TEST(MessageStream, AnExceptionCostsTheOneConnection)
{
    std::pair<std::string, std::function<void()>> const failures[] = {
        {"out of memory", [] { throw std::bad_alloc(); }},
        {"out of memory", [] { throw static_cast<ktools::CException *>(nullptr); }},
        {"the operation can't be done (Place.cpp 7, code 1)",
         [] { ktools::raise<ktools::CException>(1, "Place.cpp", 7); }},
        {"an unknown exception", [] { throw 7; }},
    };
    for (auto const & [text, failure] : failures) {
        Ends ends;
        ends.stream->fails = failure;
        ends.say(encoded(MessageType::heartbeat, ""));

        EXPECT_NO_THROW(ends.run(20s));

        EXPECT_EQ(ends.stream->why, text);
        EXPECT_TRUE(ends.stream->closed());
    }
}

} // namespace
