#include "host/live/Recording.h"

#include "host/capture/CaptureTime.h"
#include "host/support/Failure.h"
#include "host/wire/SnapshotBytes.h"
#include "host/wire/SnapshotFiles.h"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace ketmon {

namespace {

// A sample needs more than a millisecond since the one before to count anything.
constexpr long long leastTime = ticksPerSecond / 100;
// No capture is meant to fill a folder with more.
constexpr unsigned int mostFiles = 100000;

} // namespace

CRecording::CRecording(KetStats::CKetrinStatManager & manager, CRecordingOptions const & options,
                       long long start, bool filtering)
    : m_manager(manager),
      m_options(options),
      m_clock(start),
      m_lastSample(start),
      m_boundary(start)
{
    m_sender.addOid("1");
    m_sender.initSnapshot(m_manager);
    m_sender.EnableGlobalFiltering(filtering);
    if (options.interval > 0.0) {
        m_interval = std::max(leastTime,
                              static_cast<long long>(options.interval * static_cast<double>(ticksPerSecond)));
        sampleAt(start, false);
    }
}

void CRecording::advance(long long ticks)
{
    if (m_interval > 0 && ticks - m_boundary >= m_interval) {
        if (m_counted)
            sampleAt(m_boundary + m_interval, true);
        m_counted = false;
        m_boundary += (ticks - m_boundary) / m_interval * m_interval;
    }
    m_counted = true;
    m_clock.set(ticks);
}

void CRecording::finish()
{
    sampleAt(std::max(m_clock.now(), m_lastSample + leastTime), m_interval > 0);
    m_receiver.calculatePercentStats();
}

KetStats::CAgentStatistic const & CRecording::result() const
{
    return dynamic_cast<KetStats::CAgentStatistic const &>(*m_receiver.getStat("1"));
}

KetStats::CBaseStat const * CRecording::find(KetStats::COid const & oid) const
{
    KetStats::CBaseStat const * const stat = m_receiver.getStat(oid);
    // The first component isn't looked at on the way down.
    return stat && stat->getOid().compare(oid) == 0 ? stat : nullptr;
}

void CRecording::sampleAt(long long ticks, bool onlyChanged)
{
    m_clock.set(ticks);
    m_lastSample = ticks;
    m_sender.nextSample(m_manager);
    std::string const bytes = packed(m_sender, onlyChanged);
    unpack(m_receiver, bytes);
    if (m_options.path.empty())
        return;
    if (m_saved == mostFiles)
        throw CFailure(
            exitFailure,
            fmt::format("the capture spans more than {} intervals; choose a longer --interval", mostFiles));
    std::string const path = m_interval > 0 ? fmt::format("{}.{}", m_options.path, m_saved) : m_options.path;
    std::error_code error; // of a file that isn't there yet
    if (!m_options.capture.empty() && std::filesystem::equivalent(path, m_options.capture, error))
        throw CFailure(exitBadInput, fmt::format("{}: is the capture, so no snapshot is saved there", path));
    saveSnapshot(path, bytes);
    ++m_saved;
}

} // namespace ketmon
