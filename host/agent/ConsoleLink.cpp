#include "host/agent/ConsoleLink.h"

#include "host/agent/StatisticsClock.h"
#include "host/wire/Fingerprint.h"
#include "host/wire/SampleTime.h"
#include "host/wire/SnapshotBytes.h"

#include <fmt/core.h>

#include <algorithm>
#include <new>

namespace ketmon {

namespace {

constexpr std::chrono::seconds timeToGreet(5);
constexpr std::chrono::seconds timeToEnd(5);
// For what changed between two samples, where little did.
constexpr std::size_t leastRoom = std::size_t{1} << 20;
// Of a console that has greeted. It has nothing to say but that it is there.
constexpr double mostMessages = 100; // a second
// What is in a sample's message beside the packed snapshot, at most.
constexpr std::size_t largestHead = 1024;
// Kept free while a console's first sample is taken, for what serving it takes in small pieces from then on: that there
// is no memory for these shouldn't come out in the midst of a message.
constexpr std::size_t reserve = std::size_t{1} << 20;
// A sample needs more than a millisecond since the one before to count anything.
constexpr long long leastInterval = 2 * ticksPerSecond / 1000;

std::optional<std::uint64_t> since(std::optional<std::uint64_t> now, std::optional<std::uint64_t> base)
{
    return now && base ? std::optional(*now - *base) : std::nullopt;
}

CCaptureCounters since(CCaptureCounters const & now, CCaptureCounters const & base)
{
    return {since(now.received, base.received), since(now.droppedByKernel, base.droppedByKernel),
            since(now.droppedByInterface, base.droppedByInterface)};
}

std::string tooLarge(std::size_t bytes, std::size_t largest)
{
    return fmt::format("a sample of {} bytes is more than a console takes, {}: select less", bytes, largest);
}

} // namespace

CConsoleLink::CConsoleLink(CSocket socket, CPeer peer, CLinkContext const & context)
    : CMessageStream(std::move(socket), largestToAgent, context.backlog),
      m_context(context),
      m_peer(std::move(peer)),
      m_deadline(executor()),
      m_rate(mostMessages, mostMessages)
{}

CConsoleLink::~CConsoleLink() = default;

void CConsoleLink::start()
{
    closeAfter(timeToGreet, "said nothing that makes sense in time");
    startReading();
}

// A console has nothing to say but hello, and that it is there.
void CConsoleLink::received(CMessage const & message)
{
    if (m_greeted && !m_rate.allows(Clock::now()))
        throw CProtocolError(fmt::format("the console says more than {} messages a second", mostMessages));
    if (!m_greeted && message.type == MessageType::hello)
        greet(message);
    else if (!m_greeted || message.type != MessageType::heartbeat)
        throw CProtocolError(
            fmt::format("a message of type {} doesn't belong here", static_cast<int>(message.type)));
}

void CConsoleLink::greet(CMessage const & message)
{
    CHello const hello = CHello::parsed(message.body, schemaFingerprint());
    try {
        m_bothTrees = hello.extendedFingerprint == extendedFingerprint();
        CSelection const selection(hello.selection, m_bothTrees);
        std::string objection = m_context.objection(*this);
        if (objection.empty())
            objection = prepare(selection);
        if (objection.empty())
            begin();
        else
            refuse(objection);
    } catch (CBadSelection const & error) {
        throw CProtocolError(error.what());
    } catch (std::bad_alloc const &) {
        refuse("the agent has no memory left for another console");
    }
}

// Takes what it costs to serve it. Yields why that is too much.
std::string CConsoleLink::prepare(CSelection const & selection)
{
    m_reserve = std::make_unique_for_overwrite<char[]>(reserve);
    m_snapshot = std::make_unique<KetStats::CStatSnapshot>(m_context.manager.limits());
    selection.select(*m_snapshot);
    m_snapshot->tellRowsApart(true);
    m_snapshot->holdSelectedOnly(true);
    m_counterBase = m_context.counters();
    m_snapshot->startSampling(m_context.manager);
    m_first = packed(*m_snapshot, false);
    m_room = std::max(leastRoom, 2 * m_first.size());
    bool const isTooLarge = m_first.size() + largestHead > m_context.largest;
    std::string objection = isTooLarge ? tooLarge(m_first.size(), m_context.largest) : m_context.shortage();
    // Tables don't get smaller.
    if (isTooLarge)
        throw CProtocolError(objection);
    return objection;
}

void CConsoleLink::begin()
{
    m_times.start(m_last, ticksOf(m_snapshot->getSampleStart()), dayAhead());
    m_deadline.cancel();
    m_greeted = true;
    log(LogLevel::info, "joined");

    CWelcome welcome = m_context.welcome();
    welcome.extended = m_bothTrees;
    if (!m_bothTrees)
        welcome.groups &= groupsOfFirstTree;
    deliver(encoded(MessageType::welcome, welcome.body()));
    sendSample(MessageType::full, std::move(m_first));
    m_first = {};
    m_reserve.reset();
    if (!serving())
        return;
    keepAlive(std::chrono::milliseconds(welcome.heartbeat));
    m_context.joined();
}

void CConsoleLink::sample()
{
    if (!serving())
        return;
    if (behind()) {
        if (!m_behind)
            log(LogLevel::info, "doesn't keep up, and gets no sample until it does");
        m_behind = true;
        return;
    }
    takeSample();
}

void CConsoleLink::takeSample()
{
    m_behind = false;
    // Right behind the one before, tables would go on and the global counters would not.
    long long const age = statisticsTime() - m_times.last();
    if (age >= 0 && age < leastInterval)
        return;
    guarded([this] {
        try {
            m_snapshot->nextSample(m_context.manager);
            std::string const changed = packed(*m_snapshot, true, m_room);
            m_room = std::max(leastRoom, 2 * changed.size());
            sendSample(MessageType::delta, changed);
        } catch (std::bad_alloc const &) {
            refuse("the agent has no memory left for this console");
        }
    });
}

void CConsoleLink::sendSample(MessageType type, std::string const & snapshot)
{
    CSampleHead head = m_last;
    ++head.sequence;
    m_times.goOn(head, ticksOf(m_snapshot->getSampleStart()), dayAhead());
    head.counters = since(m_context.counters(), m_counterBase);
    head.ledgers = m_snapshot->getLedgers();
    head.bothTrees = m_bothTrees;
    std::string const body = head.body(m_last.ledgers, snapshot);
    if (body.size() >= m_context.largest) {
        refuse(tooLarge(body.size(), m_context.largest), true);
        return;
    }
    m_last = head;
    deliver(encoded(type, body));
}

void CConsoleLink::end(CEnd const & end)
{
    if (serving() && m_behind)
        takeSample();
    if (!serving())
        return;
    guarded([&] {
        deliver(encoded(MessageType::end, end.body()));
        leave();
    });
}

void CConsoleLink::misunderstood(std::string const & why)
{
    // What makes no sense in a hello makes none another time.
    refuse(why, !m_greeted);
}

// The snapshot is most of what a console takes, and goes at once. A message that has begun must be sent whole before
// another one.
void CConsoleLink::refuse(std::string const & why, bool lasting)
{
    m_snapshot.reset();
    m_first = {};
    m_reserve.reset();
    guarded([&] {
        log(LogLevel::warning, "refused: " + shownText(why));
        dropUnsent();
        deliver(encoded(MessageType::refusal, CRefusal{why, lasting}.body()));
        leave();
        if (!closed())
            closeAfter(timeToEnd, "");
    });
}

void CConsoleLink::deliver(std::string message)
{
    m_answered = true;
    send(std::move(message));
}

void CConsoleLink::leave()
{
    if (closed())
        return;
    log(LogLevel::info, "done");
    m_snapshot.reset();
    finish();
}

void CConsoleLink::sentAll()
{
    closeAfter(timeToEnd, "");
}

void CConsoleLink::closeAfter(std::chrono::seconds time, std::string const & complaint)
{
    m_deadline.expires_after(time);
    m_deadline.async_wait(
        [self = std::static_pointer_cast<CConsoleLink>(shared_from_this()), complaint](auto error) {
            // One that is due already when it is put off comes here without an error.
            bool const putOff = self->m_deadline.expiry() > Clock::now();
            if (error || putOff || self->closed() || self->serving())
                return;
            self->guarded([&] {
                if (!complaint.empty())
                    self->log(LogLevel::warning, complaint);
                self->close();
            });
        });
}

void CConsoleLink::lost(bool hungUp, std::string const & why)
{
    if (hungUp && m_answered)
        log(LogLevel::info, "left");
    else
        log(LogLevel::warning, "lost: " + why);
}

void CConsoleLink::wasClosed()
{
    m_deadline.cancel();
    m_context.gone();
}

} // namespace ketmon
