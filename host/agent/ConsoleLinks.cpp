#include "host/agent/ConsoleLinks.h"

#include "host/wire/Endpoint.h"

#include <fmt/core.h>

#include <algorithm>

namespace ketmon {

using asio::ip::tcp;

namespace {

// Each costs the memory of three trees.
constexpr std::size_t mostConsoles = 100;
// What the system holds for a console besides the queue, at most.
constexpr std::size_t sendBuffer = std::size_t{256} << 10;

std::string nameOf(tcp::socket const & socket)
{
    CErrorCode error;
    auto const peer = socket.remote_endpoint(error);
    return error ? "?" : CEndpoint{peer.address().to_string(), peer.port()}.toString();
}

} // namespace

void CConsoleLinks::add(tcp::socket socket)
{
    if (m_links.size() >= mostConsoles) {
        m_context.log(fmt::format("a console was turned away: there are {} already", mostConsoles), true);
        return;
    }
    CErrorCode ignored;
    socket.set_option(
        tcp::socket::send_buffer_size(static_cast<int>(std::min(sendBuffer, m_context.backlog))), ignored);
    socket.set_option(tcp::no_delay(true), ignored);
    std::string const peer = nameOf(socket);
    m_links.push_back(std::make_shared<CConsoleLink>(std::move(socket), peer, m_context));
    m_links.back()->start();
}

void CConsoleLinks::sweep()
{
    std::erase_if(m_links, [](auto const & link) { return link->closed(); });
}

// A link that is closed meanwhile stays in its place until it is swept.
void CConsoleLinks::sample()
{
    for (auto const & link : m_links)
        link->sample();
}

void CConsoleLinks::end(CEnd const & end)
{
    for (auto const & link : m_links)
        link->end(end);
}

void CConsoleLinks::closeIdle()
{
    for (auto const & link : m_links)
        if (!link->leaving())
            link->close();
}

void CConsoleLinks::closeAll()
{
    for (auto const & link : m_links)
        link->close();
}

std::size_t CConsoleLinks::serving() const
{
    return static_cast<std::size_t>(
        std::count_if(m_links.begin(), m_links.end(), [](auto const & link) { return link->serving(); }));
}

} // namespace ketmon
