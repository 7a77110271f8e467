#include "host/live/ReceivedTree.h"

#include "host/capture/CaptureTime.h"
#include "host/capture/LinkType.h"
#include "host/wire/SnapshotBytes.h"
#include "host/wire/SnapshotTrees.h"

#include <fmt/core.h>

namespace ketmon {

using KetStats::CAgentStatistic;
using KetStats::CStatSnapshot;

CReceivedTree::CReceivedTree(CWelcome const & welcome, CSelection const & selection,
                             std::string const & address)
    : m_welcome(welcome),
      m_selection(selection),
      m_address(address)
{}

CReceivedTree::~CReceivedTree() = default;

void CReceivedTree::take(CMessage const & message)
{
    bool const full = message.type == MessageType::full;
    std::string_view packed;
    CSampleHead const head = CSampleHead::parsed(message.body, full ? KetStats::CLedgers() : m_head.ledgers,
                                                 packed, m_welcome.extended);
    if (full) {
        m_snapshot = std::make_unique<CStatSnapshot>(m_welcome.limits);
        m_zeroPoint = {};
        m_counted.reset();
    } else if (!m_snapshot || head.sequence != m_head.sequence + 1) {
        throw CProtocolError(fmt::format("sample {} came where {} was due", head.sequence,
                                         m_snapshot ? m_head.sequence + 1 : 1));
    }
    unpack(*m_snapshot, packed);
    m_snapshot->setLedgers(head.ledgers);
    m_snapshot->calculatePercentStats();
    m_head = head;

    CFigures counted = figuresOf(tree(), facts(), m_counted ? &*m_counted : nullptr);
    m_figures = counted;
    m_counted = std::move(counted);
    m_zeroPoint.apply(m_figures);
}

CAgentStatistic const & CReceivedTree::tree() const
{
    return firstTree(*m_snapshot);
}

KetStats::CExtendedStatistic const * CReceivedTree::extended() const
{
    return m_welcome.extended ? &secondTree(*m_snapshot) : nullptr;
}

CSampleFacts CReceivedTree::facts() const
{
    CSampleFacts facts;
    facts.source.kind = CSourceFigures::Kind::agent;
    facts.source.name = m_address;
    facts.source.agent = m_welcome.agent;
    facts.source.linkType = linkTypeKey(m_welcome.linkType);
    if (m_welcome.linkSpeed > 0)
        facts.source.linkBitsPerSecond = m_welcome.linkSpeed;
    facts.zero = m_head.zero;
    facts.time = m_head.moment;
    facts.epoch = m_welcome.epoch;
    // The clock of the agent may have been set back.
    if (m_head.sequence > 1 && m_head.interval > 0)
        facts.intervalSeconds = static_cast<double>(m_head.interval) / ticksPerSecond;
    facts.sample = m_head.sequence;
    facts.received = m_head.counters.received;
    facts.droppedByKernel = m_head.counters.droppedByKernel;
    facts.droppedByInterface = m_head.counters.droppedByInterface;
    for (std::size_t group = 1; group < facts.counted.size(); ++group) {
        bool const isExtended = group > firstExtendedGroup;
        std::string const oid =
            isExtended ? fmt::format("2.{}", group - firstExtendedGroup) : fmt::format("1.{}", group);
        facts.counted[group] = m_welcome.groups[group] && m_selection.touches(KetStats::COid(oid));
    }
    facts.extended = extended();
    for (std::size_t counter = 1; counter < facts.told.size(); ++counter)
        facts.told[counter] = m_welcome.errors[counter];
    facts.givenUp = m_snapshot->getGivenUp();
    return facts;
}

} // namespace ketmon
