#pragma once

#include "host/support/Caught.h"
#include "host/wire/Asio.h"
#include "host/wire/Protocol.h"
#include "host/wire/SendQueue.h"
#include "host/wire/StreamSocket.h"

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
// 2. What was received is bounded by the largest message, and what waits to be sent by whoever sends: `behind` tells.
// 3. Once `keepAlive` was called it is bounded in time, too: a peer has so long to say anything, to have a message
//    arrive whole that has begun, and to take what it is sent, a long message in its proportion, but something of it
//    all the while.
// 4. No exception leaves it: where one comes up, as for want of memory, this connection is lost and no other.
class CMessageStream : public std::enable_shared_from_this<CMessageStream>
{
public:
    using CSocket = CStreamSocket;
    using Clock = std::chrono::steady_clock;

    virtual ~CMessageStream();
    CMessageStream(CMessageStream const &) = delete;
    CMessageStream & operator=(CMessageStream const &) = delete;

    void startReading();

    bool finishing() const { return m_state == isFinishing; }
    bool closed() const { return m_state == isClosed; }
    void close();

protected:
    // Nothing is received that is larger than `largest`; with more than `backlog` to be sent it is behind.
    CMessageStream(CSocket socket, std::size_t largest, std::size_t backlog);

    // May throw CProtocolError.
    virtual void received(CMessage const & message) = 0;
    // What arrived makes no sense. Nothing more is read unless the stream was finished or closed meanwhile.
    virtual void misunderstood(std::string const & why) = 0;
    // The other side hung up, or the connection broke. It is closed already.
    virtual void lost(bool hungUp, std::string const & why) = 0;
    // It was closed, by whichever side.
    virtual void wasClosed() {}

    void send(std::string message);
    // Lets go of what isn't being sent yet.
    void dropUnsent() { m_queue.dropBehindFront(); }
    // Has what is queued go out. Closing at once could throw away, at the other end, what it hasn't read yet.
    void finish();
    // Sends a heartbeat if nothing else went out for so long, and again, and gives up on a peer from which nothing
    // comes for three times that. Ends with the stream.
    void keepAlive(std::chrono::milliseconds silence);
    // All that was to be sent is with the system, behind `finish`.
    virtual void sentAll() {}

    // Does what a handler, or the owner of many connections, has to do with this one. If that fails this connection
    // is lost.
    template <class Deed>
    void guarded(Deed const & deed)
    {
        try {
            deed();
        } catch (...) {
            giveUp(caughtText());
        }
    }

    void allow(std::size_t largest) { m_reader.allow(largest); }
    // Whether the other side takes less than it is sent.
    bool behind() const { return m_queue.bytes() - m_sent > m_backlog; }
    bool receiving() const { return m_reader.begun() != 0; }
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
    void giveUp(std::string const & why) noexcept;
    void loseTo(bool hungUp, std::string const & why);
    void hangUp();
    void beat();
    std::string complaint(Clock::time_point now) const;

    CSocket m_socket;
    asio::steady_timer m_heartbeat;
    State m_state = isOpen;
    CMessageReader m_reader;
    CSendQueue m_queue;
    std::size_t m_backlog;
    std::size_t m_sent = 0; // of the message that is being sent
    bool m_writing = false;
    Clock::time_point m_lastSent = Clock::now();
    std::chrono::milliseconds m_silence{0};       // until a heartbeat; 0 for never
    Clock::time_point m_lastHeard = Clock::now(); // a message that was whole
    Clock::time_point m_partSince{};              // the beginning of one that isn't yet
    Clock::time_point m_frontSince{};             // when what is being sent had its turn
    Clock::time_point m_lastTaken{};              // when the other side, or the system for it, took any of it
    std::array<char, 16384> m_block{};
};

} // namespace ketmon
