#pragma once

#include "host/capture/CaptureClock.h"
#include "host/capture/CaptureSummary.h"

#include "ketstats/ketstats.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ketmon {

struct CRecordingOptions
{
    std::string path;      // where packed snapshots go; nowhere if empty
    double interval = 0.0; // seconds of the capture's time between two deltas; 0 for one full snapshot
    std::vector<std::string> captures; // the files that are replayed, over which nothing is saved
    std::string name;                  // of what is replayed, as saved snapshots tell it
    std::uint32_t linkType = linktype::ethernet;
    std::uint64_t linkBits = 0;                // per second; 0 if that isn't known
    CCaptureSummary const * summary = nullptr; // of the frames that were analysed by now, at any moment
};

// The road of a replayed capture's statistics from the live tree to a console, within one program: a snapshot
// samples and packs, a second one unpacks. The clock is the capture's own.
//
//     without an interval   one full snapshot at the end, saved as PATH
//     with one              a full one at the start, saved as PATH.00000, then a delta behind every interval
//                           that had frames and one at the end, PATH.00001, PATH.00002 ...
class CRecording
{
public:
    // Sets the zero point, at `start`; the manager must be analysing. With `filtering` the frames that a
    // filter passes are counted too.
    CRecording(KetStats::CKetrinStatManager & manager, CRecordingOptions const & options, long long start,
               bool filtering = false);

    // Called before a frame of that time is analysed. Throws CFailure if a snapshot can't be saved. Of frames that
    // follow each other without one that `endsInterval` only the first and the last need be told.
    void advance(long long ticks);
    // Whether a frame of that time is the first behind an interval, so that all before it must have been counted.
    bool endsInterval(long long ticks) const { return m_interval > 0 && ticks - m_boundary >= m_interval; }
    // The frame analysed last passed the filter.
    void passed(CFrame const & frame) { m_sender.FramePassedFilter(&frame); }
    // Takes the last sample. Throws CFailure.
    void finish();

    // The second snapshot, with all that is derived.
    KetStats::CStatSnapshot const & snapshot() const { return m_receiver; }
    KetStats::CAgentStatistic const & result() const;
    KetStats::CExtendedStatistic const & extended() const;
    // From when to when it goes.
    long long zero() const { return m_zero; }
    long long time() const { return m_lastSample; }
    // The statistic in it that the identifier names; null if it leads nowhere.
    KetStats::CBaseStat const * find(KetStats::COid const & oid) const;

private:
    void sampleAt(long long ticks, bool onlyChanged);
    void save(std::string bytes, long long previous);
    void checkPath(std::string const & path) const;

    KetStats::CKetrinStatManager & m_manager;
    CRecordingOptions m_options;
    bool m_filtering;
    std::uint64_t m_recording;
    long long m_zero;
    CCaptureClock m_clock;
    KetStats::CStatSnapshot m_sender;
    KetStats::CStatSnapshot m_receiver;
    long long m_lastSample;
    long long m_boundary;     // where the interval under way began
    long long m_interval = 0; // ticks
    bool m_counted = false;   // whether that interval has frames
    unsigned int m_saved = 0;
};

} // namespace ketmon
