#include "host/agent/Listener.h"

#include "host/support/Caught.h"
#include "host/support/Failure.h"

#include <boost/asio/ip/tcp.hpp>
#include <fmt/core.h>

namespace ketmon {

using asio::ip::tcp;

namespace {

constexpr std::chrono::milliseconds beforeNextAccept(100);

CStreamEndpoint resolved(asio::io_context & io, CEndpoint const & where)
{
    if (where.local)
        return localEndpoint(where.address);
    auto const found = tcp::resolver(io).resolve(where.address, std::to_string(where.port),
                                                 tcp::resolver::passive | tcp::resolver::numeric_service);
    return found.begin()->endpoint();
}

} // namespace

CListener::CListener(asio::io_context & io, CListenOptions const & options,
                     std::function<void(CStreamSocket socket)> accepted,
                     std::function<void(std::string const & why)> troubled)
    : m_accepted(std::move(accepted)),
      m_troubled(std::move(troubled)),
      m_acceptor(io),
      m_again(io),
      m_where(options.where)
{
    try {
        listen(io, options);
    } catch (boost::system::system_error const & error) {
        throw CFailure(exitFailure,
                       fmt::format("can't listen on {}: {}", m_where.toString(), error.code().message()));
    }
    accept();
}

CListener::~CListener() = default;

void CListener::listen(asio::io_context & io, CListenOptions const & options)
{
    CStreamEndpoint const endpoint = resolved(io, m_where);
    m_near = ketmon::isNear(endpoint);
    if (!m_near && !options.plain)
        throw CFailure(
            exitBadInput,
            fmt::format("{}: whoever reaches this address could read the statistics, without a password "
                        "or encryption; say --plain if that is meant",
                        m_where.toString()));
    m_acceptor.open(endpoint.protocol());
    if (m_where.local) {
        bindLocal(m_acceptor, m_where.address, options.permissions);
    } else {
        m_acceptor.set_option(asio::socket_base::reuse_address(true));
        m_acceptor.bind(endpoint);
    }
    m_acceptor.listen();
    if (!m_where.local)
        m_where = shownEndpoint(m_acceptor.local_endpoint());
}

void CListener::close()
{
    CErrorCode ignored;
    m_acceptor.close(ignored);
    m_again.cancel();
}

void CListener::revive()
{
    if (!m_accepting && m_acceptor.is_open())
        accept();
}

void CListener::accept()
{
    m_accepting = false;
    m_acceptor.async_accept([this](auto error, CStreamSocket socket) {
        m_accepting = false;
        if (!m_acceptor.is_open())
            return;
        if (error) {
            m_troubled(error.message());
            tryAgain();
            return;
        }
        try {
            m_accepted(std::move(socket));
        } catch (...) {
            m_troubled(caughtText());
        }
        accept();
    });
    m_accepting = true;
}

void CListener::tryAgain()
{
    m_again.expires_after(beforeNextAccept);
    m_again.async_wait([this](auto cancelled) {
        m_accepting = false;
        if (!cancelled && m_acceptor.is_open())
            accept();
    });
    m_accepting = true;
}

} // namespace ketmon
