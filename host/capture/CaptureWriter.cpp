#include "host/capture/CaptureWriter.h"

#include "host/capture/CaptureFormat.h"
#include "host/capture/CaptureTime.h"
#include "host/support/Failure.h"

#include <fmt/core.h>

namespace ketmon {

namespace classic = format::classic;

namespace {

constexpr unsigned int majorVersion = 2;
constexpr unsigned int minorVersion = 4;
// Seconds that take the highest bit are negative to one reader and great to another.
constexpr long long endOfTime = ticksTo1970 + 0x80000000LL * ticksPerSecond;

void put(unsigned char * to, std::uint32_t value)
{
    for (unsigned int i = 0; i < 4; ++i)
        to[i] = static_cast<unsigned char>(value >> 8 * i);
}

} // namespace

void CCaptureWriter::begin(std::uint32_t linkType)
{
    unsigned char header[classic::headerLength] = {};
    put(header, classic::nanoseconds);
    put(header + 4, majorVersion | minorVersion << 16);
    put(header + 16, format::longestFrame);
    put(header + 20, linkType);
    m_file.append(header, sizeof header);
    m_linkType = linkType;
}

void CCaptureWriter::write(CCapturedFrame const & frame)
{
    if (frame.capturedLength > format::longestFrame)
        fail(fmt::format("frame {} has {} captured bytes, more than a capture file holds", m_frames + 1,
                         frame.capturedLength));
    if (frame.ticks < ticksTo1970 || frame.ticks >= endOfTime)
        fail(fmt::format("frame {} was captured at a time that a capture file can't tell", m_frames + 1));

    if (!m_linkType)
        begin(frame.linkType);
    else if (*m_linkType != frame.linkType)
        fail(fmt::format("frame {} has the link type {}, those in front of it {}, and the file can tell one",
                         m_frames + 1, linkTypeText(frame.linkType), linkTypeText(*m_linkType)));

    long long const since1970 = frame.ticks - ticksTo1970;
    unsigned char record[classic::recordLength];
    put(record, static_cast<std::uint32_t>(since1970 / ticksPerSecond));
    put(record + 4, static_cast<std::uint32_t>(since1970 % ticksPerSecond * nanosecondsPerTick));
    put(record + 8, frame.capturedLength);
    put(record + 12, frame.length);
    m_file.append(record, sizeof record);
    m_file.append(frame.data, frame.capturedLength);
    ++m_frames;
}

void CCaptureWriter::finish()
{
    if (!m_linkType)
        begin(linktype::ethernet);
    m_file.finish();
}

void CCaptureWriter::fail(std::string const & reason) const
{
    throw CFailure(exitFailure, fmt::format("{}: can't be written: {}", m_file.path(), reason));
}

} // namespace ketmon
