#include "host/agent/ConsoleLink.h"

#include "host/wire/Endpoint.h"
#include "host/wire/Fingerprint.h"
#include "host/wire/SnapshotBytes.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <fmt/core.h>

#include <algorithm>

namespace ketmon {

namespace {

constexpr std::chrono::seconds timeToGreet(10);
constexpr std::chrono::seconds timeToEnd(5);
// What the system holds for a console besides the queue, at most.
constexpr std::size_t sendBuffer = std::size_t{256} << 10;

std::string nameOf(asio::ip::tcp::socket const & socket)
{
    CErrorCode error;
    auto const peer = socket.remote_endpoint(error);
    return error ? "?" : CEndpoint{peer.address().to_string(), peer.port()}.toString();
}

} // namespace

CConsoleLink::CConsoleLink(asio::ip::tcp::socket socket, CLinkContext const & context)
    : m_socket(std::move(socket)),
      m_timer(m_socket.get_executor()),
      m_context(context),
      m_peer(nameOf(m_socket)),
      m_queue(context.backlog)
{
    CErrorCode ignored;
    m_socket.set_option(
        asio::socket_base::send_buffer_size(static_cast<int>(std::min(sendBuffer, context.backlog))),
        ignored);
    m_socket.set_option(asio::ip::tcp::no_delay(true), ignored);
}

void CConsoleLink::start()
{
    wait(timeToGreet, "said nothing that makes sense in time");
    receive();
}

void CConsoleLink::receive()
{
    m_socket.async_read_some(asio::buffer(m_block), [self = shared_from_this()](auto error, auto count) {
        if (self->closed())
            return;
        if (error == asio::error::eof && self->m_state != greeting) {
            self->m_context.log(self->m_peer + ": left", false);
            self->close();
        } else if (error) {
            self->drop("lost: " + error.message());
        } else {
            self->received({self->m_block.data(), count});
            if (!self->closed())
                self->receive();
        }
    });
}

void CConsoleLink::received(std::string_view bytes)
{
    // Nothing matters any more to one that is on its way out, and a console has nothing to say but hello.
    if (m_state == ending)
        return;
    try {
        m_reader.feed(bytes);
        CMessage message;
        while (m_state != ending && m_state != isClosed && m_reader.next(message)) {
            if (m_state != greeting || message.type != MessageType::hello)
                throw CProtocolError(
                    fmt::format("a message of type {} doesn't belong here", static_cast<int>(message.type)));
            greeted(message);
        }
    } catch (CProtocolError const & error) {
        refuse(error.what());
    } catch (CBadSelection const & error) {
        refuse(error.what());
    }
}

void CConsoleLink::greeted(CMessage const & message)
{
    CGreeting const hello = CGreeting::parsedHello(message.body, schemaFingerprint());
    CSelection const selection(hello.selection, m_context.shape);
    m_timer.cancel();
    m_snapshot = std::make_unique<KetStats::CStatSnapshot>();
    selection.select(*m_snapshot);
    m_snapshot->initSnapshot(m_context.manager);
    m_state = serves;
    m_context.log(m_peer + ": joined", false);

    CGreeting welcome;
    welcome.fingerprint = schemaFingerprint();
    welcome.interval = m_context.interval;
    send(encoded(MessageType::welcome, welcome.welcome()));
    sample();
    if (serving())
        m_context.joined();
}

void CConsoleLink::sample()
{
    if (!serving())
        return;
    m_snapshot->nextSample(m_context.manager);
    MessageType const type = m_sampled ? MessageType::delta : MessageType::full;
    std::string message = encoded(type, packed(*m_snapshot, m_sampled));
    m_sampled = true;
    send(std::move(message));
}

void CConsoleLink::end(unsigned long long frames)
{
    if (!serving())
        return;
    send(encoded(MessageType::end, encodedEnd(frames)));
    finish();
}

void CConsoleLink::refuse(std::string const & reason)
{
    m_context.log(fmt::format("{}: refused: {}", m_peer, reason), true);
    send(encoded(MessageType::refusal, reason));
    finish();
}

void CConsoleLink::send(std::string message)
{
    if (closed())
        return;
    if (!m_queue.push(std::move(message))) {
        drop(fmt::format("dropped: it doesn't keep up, {} bytes wait for it", m_queue.bytes()));
        return;
    }
    if (!m_writing)
        write();
}

void CConsoleLink::write()
{
    m_writing = true;
    asio::async_write(m_socket, asio::buffer(m_queue.front()), [self = shared_from_this()](auto error, auto) {
        self->m_writing = false;
        if (self->closed())
            return;
        if (error) {
            self->drop("lost: " + error.message());
            return;
        }
        self->m_queue.pop();
        if (!self->m_queue.empty())
            self->write();
        else if (self->m_state == ending)
            self->finish();
    });
}

// Says that no more will come once everything went out. Closing at once could throw away, at the other end,
// what it hasn't read yet.
void CConsoleLink::finish()
{
    if (closed())
        return;
    if (m_state != ending) {
        m_state = ending;
        m_context.log(m_peer + ": done", false);
        wait(timeToEnd, "");
    }
    if (m_writing)
        return;
    CErrorCode ignored;
    m_socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
}

void CConsoleLink::wait(std::chrono::seconds time, std::string const & complaint)
{
    m_timer.expires_after(time);
    m_timer.async_wait([self = shared_from_this(), complaint](auto error) {
        bool const tooLate = !complaint.empty() && self->m_state != greeting;
        if (error || self->closed() || tooLate)
            return;
        if (complaint.empty())
            self->close();
        else
            self->drop(complaint);
    });
}

void CConsoleLink::drop(std::string const & reason)
{
    m_context.log(m_peer + ": " + reason, true);
    close();
}

void CConsoleLink::close()
{
    if (closed())
        return;
    m_state = isClosed;
    m_timer.cancel();
    CErrorCode ignored;
    m_socket.close(ignored);
    m_context.gone();
}

} // namespace ketmon
