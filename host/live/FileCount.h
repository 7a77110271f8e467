#pragma once

#include "host/capture/CaptureExpression.h"
#include "host/capture/CaptureSummary.h"
#include "host/capture/FrameCounter.h"
#include "host/live/AnalysisOptions.h"
#include "host/live/FrameOddities.h"
#include "host/live/Recording.h"
#include "host/render/SampleFacts.h"

#include "ketstats/ketstats.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ketmon {

// Counts capture files, on the time of the capture. What it has counted lives as long as it does.
class CFileCount
{
public:
    // Of `recording` only path and interval are needed.
    CFileCount(CAnalysisOptions const & analysis, CRecordingOptions const & recording);

    // Counts the files as one, as CCaptureFiles gives them; may be called once. The frames that pass `filter`
    // are counted as accepted too, unless it is null. What couldn't be read is in the summary, and all else is
    // counted. Throws CFailure if there is nothing to read, or a snapshot can't be saved.
    void run(std::vector<std::string> const & files, bool quiet, CCaptureExpression const * filter = nullptr);

    CCaptureSummary const & summary() const { return m_summary; }
    unsigned long long frames() const { return m_summary.frames; }
    // The sample of the end with its ledgers, and from when to when it goes: there is a time for a capture
    // without frames, too.
    CRecording const & recording() const { return *m_recording; }
    KetStats::CKetrinStatManager const & manager() const { return m_manager; }
    // All statistics, with all that is derived.
    KetStats::CAgentStatistic const & result() const { return m_recording->result(); }
    // Of the first frame, where there are several.
    std::uint32_t linkType() const { return m_recordingOptions.linkType; }
    // What is known of them beside it.
    CSampleFacts facts() const;
    // The statistic among them that the identifier names; null if it leads nowhere.
    KetStats::CBaseStat const * find(KetStats::COid const & oid) const { return m_recording->find(oid); }

private:
    std::size_t countStretch(CFrameBlock const & block, std::size_t first, CCaptureExpression const * filter);

    CFileHook m_hook;
    KetStats::CKetrinStatManager m_manager;
    CFrameCounter m_counter;
    CRecordingOptions m_recordingOptions;
    CCaptureSummary m_summary;
    std::unique_ptr<CRecording> m_recording;
    CFrameOddities m_oddities;
    bool m_filtering = false;
};

// What files are called that are counted as one: the path of one, or that of the first and how many follow.
std::string nameOf(std::vector<std::string> const & files);

} // namespace ketmon
