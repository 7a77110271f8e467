#pragma once

#include "host/agent/ConsoleLink.h"

#include <boost/asio/ip/tcp.hpp>

#include <cstddef>
#include <memory>
#include <vector>

namespace ketmon {

// All connections of an agent.
class CConsoleLinks
{
public:
    // Both must live longer.
    explicit CConsoleLinks(CLinkContext const & context) : m_context(context) {}

    // Takes a connection in, or turns it away if there are too many.
    void add(asio::ip::tcp::socket socket);
    // Drops those that are closed.
    void sweep();

    void sample();
    void end(CEnd const & end);
    // Closes those that wait for nothing, or all of them.
    void closeIdle();
    void closeAll();

    std::size_t serving() const;
    bool empty() const { return m_links.empty(); }

private:
    CLinkContext const & m_context;
    std::vector<std::shared_ptr<CConsoleLink>> m_links;
};

} // namespace ketmon
