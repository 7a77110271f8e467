#include "host/wire/MessageStream.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>

namespace ketmon {

CMessageStream::CMessageStream(CSocket socket, std::size_t largest, std::size_t backlog)
    : m_socket(std::move(socket)),
      m_heartbeat(m_socket.get_executor()),
      m_reader(largest),
      m_queue(backlog)
{}

CMessageStream::~CMessageStream() = default;

void CMessageStream::startReading()
{
    read();
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
        self->arrived({self->m_block.data(), count});
        if (!self->closed())
            self->read();
    });
}

void CMessageStream::arrived(std::string_view bytes)
{
    if (m_state != isOpen)
        return;
    try {
        m_reader.feed(bytes);
        CMessage message;
        while (m_state == isOpen && m_reader.next(message))
            received(message);
    } catch (CProtocolError const & error) {
        misunderstood(error.what());
        if (m_state == isOpen)
            close();
    }
}

bool CMessageStream::send(std::string message)
{
    if (m_state != isOpen)
        return true;
    if (!m_queue.push(std::move(message)))
        return false;
    m_lastSent = Clock::now();
    if (!m_writing)
        write();
    return true;
}

void CMessageStream::write()
{
    m_writing = true;
    asio::async_write(m_socket, asio::buffer(m_queue.front()), [self = shared_from_this()](auto error, auto) {
        self->m_writing = false;
        if (self->closed())
            return;
        if (error) {
            self->broken(error);
            return;
        }
        self->m_queue.pop();
        if (!self->m_queue.empty())
            self->write();
        else if (self->finishing())
            self->hangUp();
    });
}

void CMessageStream::finish()
{
    if (m_state != isOpen)
        return;
    m_state = isFinishing;
    m_heartbeat.cancel();
    if (!m_writing)
        hangUp();
}

void CMessageStream::hangUp()
{
    CErrorCode ignored;
    m_socket.shutdown(CSocket::shutdown_send, ignored);
}

void CMessageStream::keepAlive(std::chrono::milliseconds silence)
{
    m_heartbeat.expires_at(m_lastSent + silence);
    m_heartbeat.async_wait([self = shared_from_this(), silence](auto error) {
        if (error || self->m_state != isOpen)
            return;
        // To whom something waits to be sent, a heartbeat more says nothing.
        if (Clock::now() >= self->m_lastSent + silence) {
            if (self->m_queue.empty())
                self->send(encoded(MessageType::heartbeat, ""));
            self->m_lastSent = Clock::now();
        }
        self->keepAlive(silence);
    });
}

void CMessageStream::broken(CErrorCode error)
{
    bool const hungUp = error == asio::error::eof;
    close();
    lost(hungUp, error.message());
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
