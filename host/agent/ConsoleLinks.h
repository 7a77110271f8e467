#pragma once

#include "host/agent/Arrivals.h"
#include "host/agent/ConsoleLink.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace ketmon {

// All connections of an agent.
//
// 1. Consoles, those that are served, are as many as the agent was told to have at most; from one address of
//    another machine, or one user at a socket in the file system, come at most half of them, and not too many a
//    second, so that none locks out the others.
// 2. Who hasn't said hello is limited apart from them, so that whoever is mute keeps no console out. Where there are
//    too many, the oldest goes of the address that has the most.
// 3. Who is turned away hears why, and has little time to.
class CConsoleLinks
{
public:
    // Both must live longer.
    CConsoleLinks(CLinkContext const & context, std::size_t mostConsoles)
        : m_context(context),
          m_most(mostConsoles),
          m_arrivals(mostOfOne())
    {}

    // Takes a connection in.
    void add(CStreamSocket socket);
    void add(CStreamSocket socket, CPeer const & peer);
    // Drops those that are closed; true if there were any.
    bool sweep();

    // Why another console can't be served; empty if it can.
    std::string objection(CPeer const & peer);

    void sample();
    void end(CEnd const & end);
    // Turns away the console that came last; false if there is none.
    bool refuseLast(std::string const & why);
    // Closes those that wait for nothing, or all of them.
    void closeIdle();
    void closeAll();

    std::size_t serving() const;
    bool empty() const { return m_links.empty(); }

private:
    // Consoles from one origin that is limited.
    std::size_t mostOfOne() const { return std::max<std::size_t>(1, m_most / 2); }
    void makeRoom(std::string const & origin);

    CLinkContext const & m_context;
    std::size_t m_most;
    CArrivals m_arrivals;                               // from origins that are limited
    std::vector<std::shared_ptr<CConsoleLink>> m_links; // the oldest first
};

} // namespace ketmon
