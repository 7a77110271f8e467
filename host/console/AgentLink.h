#pragma once

#include "host/wire/Greeting.h"
#include "host/wire/MessageStream.h"
#include "host/wire/SampleMessage.h"

#include <boost/asio/steady_timer.hpp>

#include <functional>
#include <string>
#include <vector>

namespace ketmon {

// What a connection to an agent tells its owner. After any of the last three nothing more comes.
struct CAgentEvents
{
    std::function<void(CWelcome const & welcome)> welcomed;
    std::function<void(CMessage const & message)> sampled; // full or delta; may throw CProtocolError
    std::function<void(CEnd const & end)> ended;
    // Of both trees it knows the first one alone: it is to be asked for that, on another connection.
    std::function<void(std::string const & why)> knowsOneTree;
    // `again` says whether it may go better another time: it doesn't with an agent of another version, or one that
    // says that it won't.
    std::function<void(std::string const & why, bool again)> failed;
};

// The console's end of a connection.
//
//     greeting ---welcome---> welcomed ---full---> following ---end---> closed
//        |                       |                   | ^  |               ^
//        |                       |              full,+-+  |               |
//        |                       |              delta     |               |
//        +---refusal, too late---+------nonsense, lost----+---------------+
//
// An agent that is silent for three heartbeats is lost, too.
class CAgentLink : public CMessageStream
{
public:
    // `selection` is what is asked for, of both trees or of the first one alone, which is all that agents of before
    // understand.
    CAgentLink(CSocket socket, std::vector<std::string> const & selection, bool bothTrees,
               CAgentEvents events);
    ~CAgentLink() override;

    void start();

private:
    enum Stage
    {
        greeting,
        welcomed,
        following,
    };

    void received(CMessage const & message) override;
    void misunderstood(std::string const & why) override;
    void lost(bool hungUp, std::string const & why) override;
    void wasClosed() override;

    void welcome(CMessage const & message);
    void refused(CRefusal const & refusal);
    void expect(Stage stage);
    void fail(std::string const & why, bool again);

    CAgentEvents m_events;
    std::vector<std::string> m_selection;
    bool m_bothTrees;
    asio::steady_timer m_deadline; // of the greeting, and of the first sample
    Stage m_stage = greeting;
};

} // namespace ketmon
