#include "host/live/FileCount.h"

#include "host/capture/CaptureFiles.h"
#include "host/capture/FrameBlock.h"
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
      m_counter(m_manager),
      m_recordingOptions(recording)
{
    m_recordingOptions.linkBits = static_cast<std::uint64_t>(analysis.linkSpeed);
    configure(m_manager, analysis);
}

void CFileCount::run(std::vector<std::string> const & files, bool quiet, CCaptureExpression const * filter)
{
    CCaptureFiles source(files);
    m_filtering = filter != nullptr;
    CFrameBlock block;
    source.nextBlock(block);
    m_recordingOptions.linkType = source.linkType().value_or(linktype::ethernet);
    if (mediaFamily(m_recordingOptions.linkType) != MediaFamily::ethernet)
        leaveOutUnknown(m_manager);

    m_recordingOptions.captures = files;
    m_recordingOptions.name = nameOf(files);
    m_recordingOptions.summary = &m_summary;
    m_manager.beginAnalyzing(&m_hook);
    m_recording = std::make_unique<CRecording>(m_manager, m_recordingOptions,
                                               block.size() > 0 ? block.ticks().front() : fixedStart,
                                               filter != nullptr);
    {
        CProgress progress(m_recordingOptions.name, source, quiet);
        for (; block.size() > 0; source.nextBlock(block)) {
            for (std::size_t first = 0; first < block.size();)
                first = countStretch(block, first, filter);
            progress.step(block.size());
        }
    }
    m_summary.faults = source.faults();
    m_recording->finish();
    m_manager.endAnalyzing();
}

// Counts the frames of a block from `first` on that no interval ends between; tells which is the next.
std::size_t CFileCount::countStretch(CFrameBlock const & block, std::size_t first,
                                     CCaptureExpression const * filter)
{
    m_recording->advance(block.ticks()[first]);
    std::size_t end = first + 1;
    while (end < block.size() && !m_recording->endsInterval(block.ticks()[end]))
        ++end;
    m_recording->advance(block.ticks()[end - 1]);

    m_counter.count(block, first, end - first);
    for (std::size_t i = first; i < end; ++i) {
        CCapturedFrame const frame = block.frame(i);
        m_oddities.count(frame);
        m_summary.add(frame);
        if (filter && filter->passes(frame))
            m_recording->passed(CMediumFrame(frame));
    }
    return end;
}

CSampleFacts CFileCount::facts() const
{
    CSampleFacts facts;
    facts.source.kind = CSourceFigures::Kind::file;
    facts.source.name = m_recordingOptions.name;
    facts.source.linkType = linkTypeKey(m_recordingOptions.linkType);
    facts.zero = m_summary.first;
    facts.time = m_summary.last;
    facts.counted = countedGroups(m_manager);
    facts.filterGiven = m_filtering;
    facts.odd = m_oddities.figures();
    facts.givenUp = m_recording->snapshot().getGivenUp();
    facts.extended = &m_recording->extended();
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
