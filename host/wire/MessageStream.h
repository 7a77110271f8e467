#pragma once

#include "host/wire/Asio.h"
#include "host/wire/Protocol.h"
#include "host/wire/SendQueue.h"

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

namespace ketmon {

// A connection of either end, of whatever kind the socket is: takes what arrives apart into messages, and
// sends those that are handed to it. All of it runs on the thread of the socket's io_context.
//
//     open ---finish()---> finishing ---> closed
//       |    what is queued goes out,      ^
//       |    then no more will come        |
//       +-------------close()--------------+
//
// 1. Once it is closed nothing is called any more. While it finishes, what arrives is thrown away.
// 2. What waits to be sent is bounded by the queue's limit, what was received by the largest message.
class CMessageStream : public std::enable_shared_from_this<CMessageStream>
{
public:
    using CSocket = asio::generic::stream_protocol::socket;
    using Clock = std::chrono::steady_clock;

    virtual ~CMessageStream();
    CMessageStream(CMessageStream const &) = delete;
    CMessageStream & operator=(CMessageStream const &) = delete;

    void startReading();

    bool finishing() const { return m_state == isFinishing; }
    bool closed() const { return m_state == isClosed; }
    void close();

protected:
    // `backlog` bounds what may wait; nothing is received that is larger than `largest`.
    CMessageStream(CSocket socket, std::size_t largest, std::size_t backlog);

    // May throw CProtocolError.
    virtual void received(CMessage const & message) = 0;
    // What arrived makes no sense. Nothing more is read unless the stream was finished or closed meanwhile.
    virtual void misunderstood(std::string const & why) = 0;
    // The other side hung up, or the connection broke. It is closed already.
    virtual void lost(bool hungUp, std::string const & why) = 0;
    // It was closed, by whichever side.
    virtual void wasClosed() {}

    // False, with nothing sent, if more than the backlog waits already.
    bool send(std::string message);
    // Has what is queued go out. Closing at once could throw away, at the other end, what it hasn't read yet.
    void finish();
    // Sends a heartbeat if nothing else went out for so long, and again. Ends with the stream.
    void keepAlive(std::chrono::milliseconds silence);

    void allow(std::size_t largest) { m_reader.allow(largest); }
    std::size_t waiting() const { return m_queue.bytes(); }
    CSocket::executor_type executor() { return m_socket.get_executor(); }

private:
    enum State
    {
        isOpen,
        isFinishing,
        isClosed,
    };

    void read();
    void arrived(std::string_view bytes);
    void write();
    void broken(CErrorCode error);
    void hangUp();

    CSocket m_socket;
    asio::steady_timer m_heartbeat;
    State m_state = isOpen;
    CMessageReader m_reader;
    CSendQueue m_queue;
    bool m_writing = false;
    Clock::time_point m_lastSent = Clock::now();
    std::array<char, 16384> m_block{};
};

} // namespace ketmon
