#include "host/agent/Welcome.h"

#include "host/agent/StatisticsClock.h"
#include "host/live/Groups.h"
#include "host/wire/Fingerprint.h"
#include "host/wire/SampleTime.h"

#include <algorithm>

namespace ketmon {

namespace {

// Silence before a heartbeat is as long as samples are apart, within these.
constexpr std::chrono::milliseconds leastSilence(3000);
constexpr std::chrono::milliseconds mostSilence(5000);

} // namespace

CAgentWelcome::CAgentWelcome(KetStats::CKetrinStatManager const & manager, std::chrono::milliseconds interval,
                             CServed const & served)
    : m_manager(manager),
      m_linkType(served.linkType),
      m_epoch(statisticsTime())
{
    m_welcome.fingerprint = schemaFingerprint();
    m_welcome.interval = static_cast<std::uint32_t>(interval.count());
    m_welcome.heartbeat = static_cast<std::uint32_t>(std::clamp(interval, leastSilence, mostSilence).count());
    m_welcome.identity = served.identity;
    m_welcome.errors = served.errors;
    m_welcome.kind = served.kind;
    m_welcome.linkSpeed = served.linkSpeed;
    m_welcome.limits = manager.limits();
    m_welcome.source = served.source;
    m_welcome.agent = served.agent;
}

CWelcome CAgentWelcome::now()
{
    m_ahead.follow(dayAhead());
    m_welcome.epoch = m_epoch + m_ahead.ticks();
    // Of a pipe these are known once it was read.
    m_welcome.linkType = static_cast<std::uint16_t>(m_linkType());
    m_welcome.groups = countedGroups(m_manager).to_ulong();
    return m_welcome;
}

} // namespace ketmon
