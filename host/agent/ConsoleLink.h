#pragma once

#include "host/wire/Greeting.h"
#include "host/wire/MessageStream.h"
#include "host/wire/SampleMessage.h"

#include "ketstats/ketstats.h"

#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace ketmon {

// What all consoles of an agent share.
struct CLinkContext
{
    KetStats::CKetrinStatManager & manager;
    KetStats::CAgentStatistic & shape; // any tree
    CWelcome welcome;
    std::size_t backlog;
    std::function<CCaptureCounters()> counters;
    // Told of a console that said hello, of one that is gone, and what is worth a line in the log.
    std::function<void()> joined;
    std::function<void()> gone;
    std::function<void(std::string const & line, bool always)> log;
};

// The agent's end of one connection.
//
//     greeting ---hello---> serving ---end()---> ending ---> closed
//        |                     |                   ^            ^
//        |                     |                   |            |
//        +---no good hello, or more than that------+            |
//        +---too late, lost----+---lost, doesn't keep up--------+
//
//     greeting    waits for hello, and not for ever
//     serving     samples go out as they come, and a heartbeat where nothing did for long
//     ending      what is queued goes out, then waits for the console to hang up, and not for ever
class CConsoleLink : public CMessageStream
{
public:
    CConsoleLink(CSocket socket, std::string peer, CLinkContext const & context);
    ~CConsoleLink() override;

    void start();
    // Samples and sends: all that is selected the first time, then what changed.
    void sample();
    // Sends the end and closes.
    void end(CEnd const & end);

    bool serving() const { return m_greeted && !finishing() && !closed(); }
    bool leaving() const { return finishing(); }

private:
    void received(CMessage const & message) override;
    void misunderstood(std::string const & why) override;
    void lost(bool hungUp, std::string const & why) override;
    void wasClosed() override;

    void greet(CMessage const & message);
    void deliver(std::string message);
    void leave();
    void closeAfter(std::chrono::seconds time, std::string const & complaint);
    void log(std::string const & line, bool always) const { m_context.log(m_peer + ": " + line, always); }

    CLinkContext const & m_context;
    std::string m_peer;
    asio::steady_timer m_deadline;
    bool m_greeted = false;
    bool m_answered = false; // with a welcome or a refusal

    // Once greeted.
    std::unique_ptr<KetStats::CStatSnapshot> m_snapshot;
    CSampleHead m_last;             // of the message sent last
    CCaptureCounters m_counterBase; // what the capture had counted at the zero point
};

} // namespace ketmon
