#include "host/capture/ClassicReader.h"

#include "host/capture/CaptureTime.h"

#include <fmt/core.h>

#include <algorithm>

namespace ketmon {

namespace classic = format::classic;

namespace {

constexpr long long nanosecondsPerMicrosecond = 1000;
// What a patched kernel may have put in front of a frame; the limit leaves it out.
constexpr std::uint32_t patchedExtra = 14;

} // namespace

bool CClassicReader::starts(unsigned char const * magic, format::CByteOrder order)
{
    std::uint32_t const number = order.four(magic);
    return number == classic::microseconds || number == classic::nanoseconds || number == classic::patched;
}

CClassicReader::CClassicReader(CByteInput & input, format::CByteOrder order) : m_input(input), m_order(order)
{
    CByteInput::Bytes const bytes = m_input.take(classic::headerLength);
    if (bytes.size() != classic::headerLength)
        throw cutCapture("the file ends within its header");
    unsigned char const * const header = bytes.data();
    m_magic = order.four(header);
    m_lengthOrder = lengthOrder(order.two(header + 4), order.two(header + 6));
    m_limit = format::sensibleLimit(order.four(header + 16));
    m_linkType = order.four(header + 20) & classic::linkTypeMask;
    if (m_magic == classic::patched) {
        m_recordLength = classic::patchedRecordLength;
        m_limit += patchedExtra;
    }
}

CClassicReader::LengthOrder CClassicReader::lengthOrder(unsigned int major, unsigned int minor)
{
    if (major == 543 && minor == 0) // what one system's own capture tool wrote
        return capturedLast;
    if (major != 2 || minor > 4)
        throw CDamagedCapture(fmt::format("version {}.{} of the file format is unknown", major, minor));
    if (minor < 3)
        return capturedLast;
    return minor == 3 ? smallerFirst : capturedFirst;
}

CFrameReader::Step CClassicReader::next(CCapturedFrame & frame)
{
    if (!m_described) {
        m_described = true;
        return Step::description;
    }
    CByteInput::Bytes const record = m_input.take(m_recordLength);
    if (record.empty())
        return Step::end;
    if (record.size() != m_recordLength)
        throw cutCapture("the file ends within the header of a record");

    std::uint32_t length = 0;
    std::uint32_t const captured = capturedLength(record.data(), length);
    if (captured > format::longestFrame)
        throw CDamagedCapture(fmt::format("a record claims {} captured bytes", captured));
    frame.ticks = ticks(record.data());
    frame.length = length;

    CByteInput::Bytes const bytes = m_input.take(captured);
    if (bytes.size() != captured)
        throw cutCapture(fmt::format("the file ends within a frame of {} bytes", captured));
    frame.data = bytes.data();
    // Some systems wrote whole frames whatever the limit said.
    frame.capturedLength = std::min(captured, m_limit);
    return Step::frame;
}

bool CClassicReader::isAtHand() const
{
    CByteInput::Bytes const bytes = m_input.atHand();
    std::uint32_t length = 0;
    return m_described && bytes.size() >= m_recordLength &&
           capturedLength(bytes.data(), length) <= bytes.size() - m_recordLength;
}

std::uint32_t CClassicReader::capturedLength(unsigned char const * record, std::uint32_t & length) const
{
    std::uint32_t captured = m_order.four(record + 8);
    length = m_order.four(record + 12);
    if (m_lengthOrder == capturedLast || (m_lengthOrder == smallerFirst && captured > length))
        std::swap(captured, length);
    return captured;
}

// libpcap takes both numbers for signed in files of the machine's own byte order, and only there.
long long CClassicReader::ticks(unsigned char const * record) const
{
    auto const number = [this](unsigned char const * bytes) -> long long {
        std::uint32_t const value = m_order.four(bytes);
        return m_order.isOwn() ? static_cast<long long>(static_cast<std::int32_t>(value))
                               : static_cast<long long>(value);
    };
    long long const fraction = number(record + 4);
    return ticksOfStamp(number(record),
                        m_magic == classic::nanoseconds ? fraction : fraction * nanosecondsPerMicrosecond);
}

} // namespace ketmon
