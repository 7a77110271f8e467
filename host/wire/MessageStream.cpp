#include "host/wire/MessageStream.h"

#include <boost/asio/buffer.hpp>
#include <fmt/chrono.h>

#include <algorithm>

namespace ketmon {

namespace {

constexpr int silencesToGiveUp = 3;
// Slower than that, in bytes a second, a message is none that arrives.
constexpr std::size_t slowest = std::size_t{16} << 10;
// What a system takes at a time from a connection that moves on; until there is room for more it takes nothing.
constexpr std::size_t onItsWay = std::size_t{256} << 10;
constexpr std::size_t longestWrite = std::size_t{64} << 10;

std::chrono::milliseconds timeFor(std::size_t bytes)
{
    return std::chrono::milliseconds(bytes * 1000 / slowest);
}

} // namespace

CMessageStream::CMessageStream(CSocket socket, std::size_t largest, std::size_t backlog)
    : m_socket(std::move(socket)),
      m_heartbeat(m_socket.get_executor()),
      m_reader(largest),
      m_backlog(backlog)
{}

CMessageStream::~CMessageStream() = default;

void CMessageStream::startReading()
{
    guarded([this] { read(); });
}

void CMessageStream::read()
{
    m_socket.async_read_some(asio::buffer(m_block), [self = shared_from_this()](auto error, auto count) {
        if (self->closed())
            return;
        if (error) {
            self->broken(error);
            return;
        }
        self->guarded([&] {
            self->arrived({self->m_block.data(), count});
            if (!self->closed())
                self->read();
        });
    });
}

void CMessageStream::arrived(std::string_view bytes)
{
    if (m_state != isOpen)
        return;
    try {
        if (!receiving())
            m_partSince = Clock::now();
        m_reader.feed(bytes);
        CMessage message;
        while (m_state == isOpen && m_reader.next(message)) {
            m_lastHeard = m_partSince = Clock::now();
            received(message);
        }
    } catch (CProtocolError const & error) {
        misunderstood(error.what());
        if (m_state == isOpen)
            close();
    }
}

void CMessageStream::send(std::string message)
{
    if (m_state != isOpen)
        return;
    m_queue.push(std::move(message));
    m_lastSent = Clock::now();
    if (!m_writing)
        guarded([this] { write(); });
}

void CMessageStream::write()
{
    if (m_sent == 0)
        m_frontSince = m_lastTaken = Clock::now();
    auto const rest = asio::buffer(m_queue.front()) + m_sent;
    m_socket.async_write_some(asio::buffer(rest, longestWrite),
                              [self = shared_from_this()](auto error, auto count) {
                                  self->m_writing = false;
                                  if (self->closed())
                                      return;
                                  if (error) {
                                      self->broken(error);
                                      return;
                                  }
                                  self->guarded([&] {
                                      self->m_lastTaken = Clock::now();
                                      self->m_sent += count;
                                      if (self->m_sent == self->m_queue.front().size()) {
                                          self->m_queue.pop();
                                          self->m_sent = 0;
                                      }
                                      if (!self->m_queue.empty())
                                          self->write();
                                      else if (self->finishing())
                                          self->hangUp();
                                  });
                              });
    m_writing = true;
}

void CMessageStream::finish()
{
    if (m_state != isOpen)
        return;
    m_state = isFinishing;
    if (!m_writing)
        hangUp();
}

void CMessageStream::hangUp()
{
    CErrorCode ignored;
    m_socket.shutdown(CSocket::shutdown_send, ignored);
    sentAll();
}

void CMessageStream::keepAlive(std::chrono::milliseconds silence)
{
    m_silence = silence;
    m_lastHeard = Clock::now();
    beat();
}

void CMessageStream::beat()
{
    m_heartbeat.expires_after(m_silence / 2);
    m_heartbeat.async_wait([self = shared_from_this()](auto error) {
        if (error || self->closed())
            return;
        self->guarded([&] {
            auto const now = Clock::now();
            std::string const why = self->complaint(now);
            if (!why.empty()) {
                self->loseTo(false, why);
                return;
            }
            // To whom something waits to be sent, a heartbeat more says nothing. Half an interval early is as good,
            // and late isn't.
            if (self->m_state == isOpen && self->m_queue.empty() &&
                now + self->m_silence / 2 > self->m_lastSent + self->m_silence)
                self->send(encoded(MessageType::heartbeat, ""));
            self->beat();
        });
    });
}

// Why it is to be given up on; empty as long as it isn't.
std::string CMessageStream::complaint(Clock::time_point now) const
{
    using std::chrono::duration_cast;
    using std::chrono::seconds;
    auto const longest = silencesToGiveUp * m_silence;
    if (!m_queue.empty()) {
        std::size_t const size = m_queue.front().size();
        if (now - m_lastTaken > longest + timeFor(std::min(size, onItsWay)))
            return fmt::format("it took nothing of what it was sent for {}",
                               duration_cast<seconds>(now - m_lastTaken));
        if (now - m_frontSince > longest + timeFor(size))
            return fmt::format("it took {} bytes of a message of {} within {}", m_sent, size,
                               duration_cast<seconds>(now - m_frontSince));
    }
    if (m_state != isOpen)
        return "";
    if (receiving()) {
        if (now - m_partSince > longest + timeFor(m_reader.begun()))
            return fmt::format("a message of {} bytes didn't arrive within {}", m_reader.begun(),
                               duration_cast<seconds>(now - m_partSince));
    } else if (now - m_lastHeard > longest)
        return fmt::format("nothing was heard for {}", duration_cast<seconds>(now - m_lastHeard));
    return "";
}

void CMessageStream::broken(CErrorCode error)
{
    guarded([&] { loseTo(error == asio::error::eof, error.message()); });
}

void CMessageStream::giveUp(std::string const & why) noexcept
{
    try {
        loseTo(false, why);
    } catch (...) {
        caughtText(); // there was no memory to say so
    }
}

void CMessageStream::loseTo(bool hungUp, std::string const & why)
{
    if (closed())
        return;
    close();
    lost(hungUp, why);
}

void CMessageStream::close()
{
    if (closed())
        return;
    m_state = isClosed;
    m_heartbeat.cancel();
    CErrorCode ignored;
    m_socket.close(ignored);
    wasClosed();
}

} // namespace ketmon
