#include "host/console/AgentLink.h"

#include "host/wire/Fingerprint.h"
#include "host/wire/SnapshotBytes.h"

#include <fmt/core.h>

#include <string_view>

namespace ketmon {

namespace {

constexpr std::chrono::seconds timeToGreet(10);
// A console says little; with so much unsent the agent reads nothing.
constexpr std::size_t backlog = std::size_t{64} << 10;

// What an agent from before the second tree says of a hello that goes on behind its selection.
constexpr std::string_view unknownRest = "a message is too long";

} // namespace

CAgentLink::CAgentLink(CSocket socket, std::vector<std::string> const & selection, bool bothTrees,
                       CAgentEvents events)
    : CMessageStream(std::move(socket), largestGreeting, backlog),
      m_events(std::move(events)),
      m_selection(selection),
      m_bothTrees(bothTrees),
      m_deadline(executor())
{}

CAgentLink::~CAgentLink() = default;

void CAgentLink::start()
{
    expect(greeting);
    CHello hello;
    hello.fingerprint = schemaFingerprint();
    hello.selection = m_selection;
    if (m_bothTrees)
        hello.extendedFingerprint = extendedFingerprint();
    send(encoded(MessageType::hello, hello.body()));
    startReading();
}

// The next stage, in time; a first sample that is on its way has more of it.
void CAgentLink::expect(Stage stage)
{
    m_deadline.expires_after(timeToGreet);
    m_deadline.async_wait(
        [self = std::static_pointer_cast<CAgentLink>(shared_from_this()), stage](auto error) {
            if (error || self->closed() || self->m_stage != stage)
                return;
            if (stage == welcomed && self->receiving())
                self->expect(stage);
            else
                self->fail("the agent doesn't answer", true);
        });
}

void CAgentLink::received(CMessage const & message)
{
    switch (message.type) {
    case MessageType::refusal:
        refused(CRefusal::parsed(message.body));
        return;
    case MessageType::heartbeat:
        if (m_stage != greeting)
            return;
        break;
    case MessageType::welcome:
        if (m_stage != greeting)
            break;
        welcome(message);
        return;
    case MessageType::full:
    case MessageType::delta:
        if (m_stage == greeting || (m_stage == welcomed && message.type == MessageType::delta))
            break;
        m_stage = following;
        m_deadline.cancel();
        m_events.sampled(message);
        return;
    case MessageType::end:
        if (m_stage != following)
            break;
        {
            CEnd const end = CEnd::parsed(message.body);
            close();
            m_events.ended(end);
        }
        return;
    default:
        break;
    }
    throw CProtocolError(
        fmt::format("a message of type {} doesn't belong here", static_cast<int>(message.type)));
}

void CAgentLink::welcome(CMessage const & message)
{
    CWelcome const welcome = CWelcome::parsed(message.body, schemaFingerprint());
    m_stage = welcomed;
    expect(welcomed);
    allow(largestToConsole);
    keepAlive(std::chrono::milliseconds(welcome.heartbeat));
    m_events.welcomed(welcome);
}

void CAgentLink::refused(CRefusal const & refusal)
{
    std::string const why = "refused: " + shownText(refusal.text);
    if (m_bothTrees && m_stage == greeting && refusal.text == unknownRest) {
        close();
        m_events.knowsOneTree(why);
        return;
    }
    fail(why, !refusal.lasting);
}

void CAgentLink::misunderstood(std::string const & why)
{
    fail(why, m_stage != greeting);
}

void CAgentLink::lost(bool hungUp, std::string const & why)
{
    m_events.failed(hungUp ? "the agent closed the connection" : why, true);
}

void CAgentLink::fail(std::string const & why, bool again)
{
    close();
    m_events.failed(why, again);
}

void CAgentLink::wasClosed()
{
    m_deadline.cancel();
}

} // namespace ketmon
