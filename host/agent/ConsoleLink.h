#pragma once

#include "host/agent/SampleTimes.h"
#include "host/support/Log.h"
#include "host/support/RateLimit.h"
#include "host/wire/Greeting.h"
#include "host/wire/MessageStream.h"
#include "host/wire/SampleMessage.h"
#include "host/wire/Selection.h"

#include "ketstats/ketstats.h"

#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace ketmon {

class CConsoleLink;

// What all consoles of an agent share.
struct CLinkContext
{
    KetStats::CKetrinStatManager & manager;
    std::function<CWelcome()> welcome; // as it is told at that moment
    std::size_t backlog;               // with more to be taken a console gets no further sample
    std::function<CCaptureCounters()> counters;
    // Why a console that said hello can't be served; empty if it can.
    std::function<std::string(CConsoleLink const & link)> objection;
    // The same, once it has taken its memory.
    std::function<std::string()> shortage;
    // Told of a console that is served, and of one that is gone.
    std::function<void()> joined;
    std::function<void()> gone;
    CLog & log;
    std::size_t largest = largestToConsole; // of a message
};

// The agent's end of one connection.
//
//     greeting ---hello---> serving ---end()---> ending ---> closed
//        |                     |                   ^            ^
//        |                     |                   |            |
//        +---no good hello, not wanted-------------+            |
//        |                     +---not wanted any more---+      |
//        +---too late, lost----+---lost, doesn't keep up--------+
//
//     greeting    waits for hello, and not for ever
//     serving     samples go out as they come, and a heartbeat where nothing did for long
//     ending      what is queued goes out, then waits for the console to hang up, and not for ever
class CConsoleLink : public CMessageStream
{
public:
    CConsoleLink(CSocket socket, CPeer peer, CLinkContext const & context);
    ~CConsoleLink() override;

    void start();
    // Samples and sends what changed, unless the last sample is too young, or too much is still to be taken of those
    // before: then the next one covers a longer time.
    void sample();
    // Sends the end, behind the sample that was left out last, and closes.
    void end(CEnd const & end);
    // Tells it why it isn't served, or no more, and closes. What it was still to be sent is let go of.
    void refuse(std::string const & why, bool lasting = false);

    CPeer const & peer() const { return m_peer; }
    bool greeting() const { return !m_greeted && !finishing() && !closed(); }
    bool serving() const { return m_greeted && !finishing() && !closed(); }
    bool leaving() const { return finishing(); }

private:
    void received(CMessage const & message) override;
    void misunderstood(std::string const & why) override;
    void lost(bool hungUp, std::string const & why) override;
    void sentAll() override;
    void wasClosed() override;

    void greet(CMessage const & message);
    std::string prepare(CSelection const & selection);
    void begin();
    void takeSample();
    void sendSample(MessageType type, std::string const & snapshot);
    void deliver(std::string message);
    void leave();
    void closeAfter(std::chrono::seconds time, std::string const & complaint);
    void log(LogLevel level, std::string const & line) const
    {
        m_context.log.say(level, CLog::peer, m_peer.name + ": " + line);
    }

    CLinkContext const & m_context;
    CPeer m_peer;
    asio::steady_timer m_deadline;
    bool m_greeted = false;
    bool m_bothTrees = false; // it knows the second one
    bool m_answered = false;  // with a welcome or a refusal
    bool m_behind = false;    // the last sample was left out
    CRateLimit m_rate;        // of what it says

    // Once greeted.
    std::unique_ptr<KetStats::CStatSnapshot> m_snapshot; // until it leaves
    std::string m_first;                                 // its first sample, until that is sent
    std::unique_ptr<char[]> m_reserve;                   // of memory, until then
    std::size_t m_room = 0;                              // for the next one, as large as is expected
    CSampleHead m_last;                                  // of the message sent last
    CSampleTimes m_times;                                // of that
    CCaptureCounters m_counterBase;                      // what the capture had counted at the zero point
};

} // namespace ketmon
