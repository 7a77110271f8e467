#include "host/live/Recording.h"

#include "host/capture/CaptureTime.h"
#include "host/live/Groups.h"
#include "host/support/Failure.h"
#include "host/wire/SnapshotBytes.h"
#include "host/wire/SnapshotFiles.h"
#include "host/wire/SnapshotTrees.h"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <system_error>
#include <utility>

namespace ketmon {

namespace {

// A sample needs more than a millisecond since the one before to count anything.
constexpr long long leastTime = ticksPerSecond / 100;
// No capture is meant to fill a folder with more.
constexpr unsigned int mostFiles = 100000; // so that five digits are enough to sort them

std::uint64_t randomNumber()
{
    std::random_device device;
    return std::uint64_t{device()} << 32 | device();
}

} // namespace

CRecording::CRecording(KetStats::CKetrinStatManager & manager, CRecordingOptions const & options,
                       long long start, bool filtering)
    : m_manager(manager),
      m_options(options),
      m_filtering(filtering),
      m_recording(randomNumber()),
      m_zero(start),
      m_clock(start),
      m_sender(manager.limits()),
      m_receiver(manager.limits()),
      m_lastSample(start),
      m_boundary(start)
{
    m_sender.addOid("1");
    m_sender.addOid("2");
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
    if (endsInterval(ticks)) {
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
    return firstTree(m_receiver);
}

KetStats::CExtendedStatistic const & CRecording::extended() const
{
    return secondTree(m_receiver);
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
    m_sender.nextSample(m_manager);
    std::string bytes = packed(m_sender, onlyChanged);
    unpack(m_receiver, bytes);
    m_receiver.setLedgers(m_sender.getLedgers());
    long long const previous = std::exchange(m_lastSample, ticks);
    if (!m_options.path.empty())
        save(std::move(bytes), previous);
}

void CRecording::save(std::string bytes, long long previous)
{
    if (m_saved == mostFiles)
        throw CFailure(
            exitFailure,
            fmt::format("the capture spans more than {} intervals; choose a longer --interval", mostFiles));
    std::string const path =
        m_interval > 0 ? fmt::format("{}.{:05}", m_options.path, m_saved) : m_options.path;
    checkPath(path);
    CSavedSnapshot snapshot;
    snapshot.recording = m_recording;
    snapshot.sequence = m_saved;
    snapshot.name = m_options.name;
    snapshot.zero = m_zero;
    snapshot.previous = previous;
    snapshot.time = m_lastSample;
    if (m_options.summary)
        snapshot.summary = *m_options.summary;
    snapshot.groups = static_cast<std::uint32_t>(countedGroups(m_manager).to_ulong());
    snapshot.filtering = m_filtering;
    snapshot.linkType = m_options.linkType;
    snapshot.linkBits = m_options.linkBits;
    snapshot.limits = m_manager.limits();
    snapshot.ledgers = m_sender.getLedgers();
    snapshot.bytes = std::move(bytes);
    saveSnapshot(path, snapshot);
    ++m_saved;
}

void CRecording::checkPath(std::string const & path) const
{
    for (std::string const & capture : m_options.captures) {
        std::error_code error; // of a file that isn't there yet
        if (std::filesystem::equivalent(path, capture, error))
            throw CFailure(exitBadInput,
                           fmt::format("{}: is the capture, so no snapshot is saved there", path));
    }
}

} // namespace ketmon
