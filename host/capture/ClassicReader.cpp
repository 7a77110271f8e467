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

CClassicReader::CClassicReader(CByteFile & file, unsigned char const * magic, format::CByteOrder order)
    : m_file(file),
      m_order(order),
      m_magic(order.four(magic))
{
    unsigned char header[classic::headerLength];
    std::size_t const rest = sizeof header - format::magicLength;
    if (file.read(header + format::magicLength, rest) != rest)
        throw CDamagedCapture("the file ends within its header");
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

bool CClassicReader::next(CCapturedFrame & frame)
{
    unsigned char record[classic::patchedRecordLength];
    std::size_t const got = m_file.read(record, m_recordLength);
    if (got == 0)
        return false;
    if (got != m_recordLength)
        throw CDamagedCapture("the file ends within the header of a record");

    std::uint32_t captured = m_order.four(record + 8);
    std::uint32_t length = m_order.four(record + 12);
    if (m_lengthOrder == capturedLast || (m_lengthOrder == smallerFirst && captured > length))
        std::swap(captured, length);
    if (captured > format::longestFrame)
        throw CDamagedCapture(fmt::format("a record claims {} captured bytes", captured));

    // Some systems wrote whole frames whatever the limit said.
    std::uint32_t const kept = std::min(captured, m_limit);
    if (m_file.read(m_bytes, kept) != kept || m_file.skip(captured - kept) != captured - kept)
        throw CDamagedCapture(fmt::format("the file ends within a frame of {} bytes", captured));
    frame.data = m_bytes.data();
    frame.capturedLength = kept;
    frame.length = length;
    frame.ticks = ticks(record);
    return true;
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
