#include "host/live/FileCount.h"

#include "host/capture/CaptureFiles.h"
#include "host/capture/Progress.h"
#include "host/live/Groups.h"
#include "host/support/ByteSource.h"

#include <fmt/core.h>

namespace ketmon {

namespace {

// 2000-01-01 00:00 UTC, the time of a capture without a frame.
constexpr long long fixedStart = 125911584000000000;

} // namespace

CFileCount::CFileCount(CAnalysisOptions const & analysis, CRecordingOptions const & recording)
    : m_hook(analysis.linkSpeed),
      m_manager(tableLimits(analysis.rows)),
      m_recordingOptions(recording)
{
    m_recordingOptions.linkBits = static_cast<std::uint64_t>(analysis.linkSpeed);
    configure(m_manager, analysis);
}

void CFileCount::run(std::vector<std::string> const & files, bool quiet, CCaptureExpression const * filter)
{
    CCaptureFiles source(files);
    m_filtering = filter != nullptr;
    CCapturedFrame captured{};
    bool more = source.next(captured);

    m_recordingOptions.captures = files;
    m_recordingOptions.name = nameOf(files);
    m_recordingOptions.summary = &m_summary;
    m_manager.beginAnalyzing(&m_hook);
    m_recording = std::make_unique<CRecording>(m_manager, m_recordingOptions,
                                               more ? captured.ticks : fixedStart, filter != nullptr);
    {
        CProgress progress(m_recordingOptions.name, source, quiet);
        CNetworkFrame frame;
        for (; more; more = source.next(captured)) {
            m_recording->advance(captured.ticks);
            frame.Assign(captured.data, captured.capturedLength, captured.length);
            m_manager.analyzeFrame(&frame);
            if (filter && filter->passes(captured))
                m_recording->passed(frame);
            m_summary.add(captured);
            progress.step();
        }
    }
    m_summary.faults = source.faults();
    m_recording->finish();
    m_manager.endAnalyzing();
}

CSampleFacts CFileCount::facts() const
{
    CSampleFacts facts;
    facts.source.kind = CSourceFigures::Kind::file;
    facts.source.name = m_recordingOptions.name;
    facts.zero = m_summary.first;
    facts.time = m_summary.last;
    facts.counted = countedGroups(m_manager);
    facts.filterGiven = m_filtering;
    facts.givenUp = m_recording->snapshot().getGivenUp();
    if (m_recordingOptions.linkBits > 0)
        facts.source.linkBitsPerSecond = m_recordingOptions.linkBits;
    return facts;
}

std::string nameOf(std::vector<std::string> const & files)
{
    std::string const first = files.front() == standardInput ? "standard input" : files.front();
    return files.size() == 1 ? first : fmt::format("{} and {} more", first, files.size() - 1);
}

} // namespace ketmon
