#include "host/live/FileCount.h"

#include "host/capture/OpenCapture.h"
#include "host/capture/Progress.h"
#include "host/live/Groups.h"

#include <algorithm>

namespace ketmon {

namespace {

// 2000-01-01 00:00 UTC, the time of a capture without a frame.
constexpr long long fixedStart = 125911584000000000;

} // namespace

CFileCount::CFileCount(CAnalysisOptions const & analysis, CRecordingOptions const & recording)
    : m_hook(analysis.linkSpeed),
      m_recordingOptions(recording)
{
    configure(m_manager, analysis);
}

void CFileCount::run(std::string const & file, bool quiet, CCaptureExpression const * filter)
{
    auto const source = openCapture(file);
    m_filtering = filter != nullptr;
    CCapturedFrame captured{};
    bool more = source->next(captured);

    m_manager.beginAnalyzing(&m_hook);
    m_recording = std::make_unique<CRecording>(m_manager, m_recordingOptions,
                                               more ? captured.ticks : fixedStart, filter != nullptr);
    {
        CProgress progress(file, *source, quiet);
        CNetworkFrame frame;
        for (; more; more = source->next(captured)) {
            m_recording->advance(captured.ticks);
            m_first = std::min(m_first.value_or(captured.ticks), captured.ticks);
            m_last = std::max(m_last.value_or(captured.ticks), captured.ticks);
            frame.Assign(captured.data, captured.capturedLength, captured.length);
            m_manager.analyzeFrame(&frame);
            m_oddities.count(frame);
            if (filter && filter->passes(captured))
                m_recording->passed(frame);
            ++m_frames;
            progress.step();
        }
    }
    m_recording->finish();
    m_manager.endAnalyzing();
}

CSampleFacts CFileCount::facts() const
{
    CSampleFacts facts;
    facts.zero = m_first;
    facts.time = m_last;
    facts.counted = countedGroups(m_manager);
    facts.filterGiven = m_filtering;
    facts.odd = m_oddities.figures();
    if (long const speed = m_hook.linkSpeed(); speed > 0)
        facts.source.linkBitsPerSecond = static_cast<std::uint64_t>(speed);
    return facts;
}

} // namespace ketmon
