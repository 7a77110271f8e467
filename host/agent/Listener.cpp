#include "host/agent/Listener.h"

#include "host/support/Failure.h"

#include <fmt/core.h>

namespace ketmon {

using asio::ip::tcp;

namespace {

constexpr std::chrono::milliseconds beforeNextAccept(100);

tcp::acceptor listening(asio::io_context & io, CEndpoint const & where)
{
    try {
        auto const found = tcp::resolver(io).resolve(where.address, std::to_string(where.port),
                                                     tcp::resolver::passive | tcp::resolver::numeric_service);
        return {io, found.begin()->endpoint()};
    } catch (boost::system::system_error const & error) {
        throw CFailure(exitFailure,
                       fmt::format("can't listen on {}: {}", where.toString(), error.code().message()));
    }
}

} // namespace

CListener::CListener(asio::io_context & io, CEndpoint const & where,
                     std::function<void(tcp::socket socket)> accepted,
                     std::function<void(std::string const & why)> troubled)
    : m_accepted(std::move(accepted)),
      m_troubled(std::move(troubled)),
      m_acceptor(listening(io, where)),
      m_again(io)
{
    accept();
}

CEndpoint CListener::endpoint() const
{
    auto const local = m_acceptor.local_endpoint();
    return {local.address().to_string(), local.port()};
}

void CListener::close()
{
    CErrorCode ignored;
    m_acceptor.close(ignored);
    m_again.cancel();
}

void CListener::accept()
{
    m_acceptor.async_accept([this](auto error, tcp::socket socket) {
        if (!m_acceptor.is_open())
            return;
        if (!error) {
            m_accepted(std::move(socket));
            accept();
            return;
        }
        m_troubled(error.message());
        m_again.expires_after(beforeNextAccept);
        m_again.async_wait([this](auto cancelled) {
            if (!cancelled && m_acceptor.is_open())
                accept();
        });
    });
}

} // namespace ketmon
