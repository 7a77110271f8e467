#pragma once

#include "host/capture/CaptureExpression.h"
#include "host/live/AnalysisOptions.h"
#include "host/live/FrameOddities.h"
#include "host/live/Recording.h"
#include "host/render/SampleFacts.h"

#include "ketstats/ketstats.h"

#include <memory>
#include <string>

namespace ketmon {

// Counts a capture file, on the time of the capture. What it has counted lives as long as it does.
class CFileCount
{
public:
    CFileCount(CAnalysisOptions const & analysis, CRecordingOptions const & recording);

    // Counts the file; may be called once. The frames that pass `filter` are counted as accepted too, unless
    // it is null. Throws CFailure.
    void run(std::string const & file, bool quiet, CCaptureExpression const * filter = nullptr);

    unsigned long long frames() const { return m_frames; }
    // All statistics, with all that is derived.
    KetStats::CAgentStatistic const & result() const { return m_recording->result(); }
    // What is known of them beside it, but for the source's name.
    CSampleFacts facts() const;
    // The statistic among them that the identifier names; null if it leads nowhere.
    KetStats::CBaseStat const * find(KetStats::COid const & oid) const { return m_recording->find(oid); }

private:
    CFileHook m_hook;
    KetStats::CKetrinStatManager m_manager;
    CRecordingOptions m_recordingOptions;
    std::unique_ptr<CRecording> m_recording;
    unsigned long long m_frames = 0;
    CFrameOddities m_oddities;
    CMoment m_first, m_last; // stamps, which may stand in any order
    bool m_filtering = false;
};

} // namespace ketmon
