#include "host/agent/ConsoleLinks.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>

namespace ketmon {

namespace {

// Connections that haven't said hello.
constexpr std::size_t mostStrangers = 16;
// Those that hear why they were turned away, and the end.
constexpr std::size_t mostLeaving = 64;
// What the system holds for a console besides the queue, at most.
constexpr std::size_t sendBuffer = std::size_t{256} << 10;

} // namespace

void CConsoleLinks::add(CStreamSocket socket)
{
    CPeer const peer = peerOf(socket);
    add(std::move(socket), peer);
}

void CConsoleLinks::add(CStreamSocket socket, CPeer const & peer)
{
    CErrorCode ignored;
    socket.set_option(
        asio::socket_base::send_buffer_size(static_cast<int>(std::min(sendBuffer, m_context.backlog))),
        ignored);
    tune(socket);
    makeRoom(peer.origin);
    m_links.push_back(std::make_shared<CConsoleLink>(std::move(socket), peer, m_context));
    m_links.back()->start();
}

void CConsoleLinks::makeRoom(std::string const & origin)
{
    std::map<std::string, std::size_t> strangers{{origin, 1}};
    std::size_t all = 1;
    std::size_t leaving = 0;
    for (auto const & link : m_links) {
        leaving += link->leaving() ? 1 : 0;
        if (!link->greeting())
            continue;
        ++strangers[link->peer().origin];
        ++all;
    }
    auto const first = [this](auto const & condition) {
        return std::find_if(m_links.begin(), m_links.end(), condition);
    };
    if (all > mostStrangers) {
        auto const most =
            std::max_element(strangers.begin(), strangers.end(),
                             [](auto const & one, auto const & two) { return one.second < two.second; });
        auto const victim =
            first([&](auto const & link) { return link->greeting() && link->peer().origin == most->first; });
        if (victim != m_links.end()) {
            ++leaving;
            (*victim)->refuse("too many connect and don't say hello");
        }
    }
    if (leaving > mostLeaving)
        (*first([](auto const & link) { return link->leaving(); }))->close();
}

bool CConsoleLinks::sweep()
{
    return std::erase_if(m_links, [](auto const & link) { return link->closed(); }) != 0;
}

std::string CConsoleLinks::objection(CPeer const & peer)
{
    if (serving() >= m_most)
        return fmt::format("the agent has {} consoles already, and serves no more", m_most);
    if (!peer.limited)
        return "";
    auto const same = [&](auto const & link) {
        return link->serving() && link->peer().origin == peer.origin;
    };
    if (static_cast<std::size_t>(std::count_if(m_links.begin(), m_links.end(), same)) >= mostOfOne())
        return fmt::format("the agent has {} consoles from {} already, and serves no more from there",
                           mostOfOne(), peer.origin);
    if (!m_arrivals.allows(peer.origin, CArrivals::Clock::now()))
        return fmt::format("too many consoles come from {} at a time", peer.origin);
    return "";
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

bool CConsoleLinks::refuseLast(std::string const & why)
{
    auto const last =
        std::find_if(m_links.rbegin(), m_links.rend(), [](auto const & link) { return link->serving(); });
    if (last == m_links.rend())
        return false;
    (*last)->refuse(why);
    return true;
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
