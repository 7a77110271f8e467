#pragma once

#include "host/capture/CaptureFormat.h"
#include "host/capture/FrameReader.h"
#include "host/support/ByteFile.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ketmon {

// Reads the classic format, in both byte orders and with all of its magic numbers.
class CClassicReader : public CFrameReader
{
public:
    // Whether a file that begins with these four bytes is of this format and order.
    static bool starts(unsigned char const * magic, format::CByteOrder order);

    // `file`, of which `magic` was read, must outlive the reader. Throws CDamagedCapture for a header that is
    // cut short or of an unknown version.
    CClassicReader(CByteFile & file, unsigned char const * magic, format::CByteOrder order);

    bool next(CCapturedFrame & frame) override;
    std::uint32_t linkType() const override { return m_linkType; }

private:
    // Early versions had the two lengths of a record in the other order, and one was of two minds.
    enum LengthOrder
    {
        capturedFirst,
        smallerFirst,
        capturedLast,
    };

    static LengthOrder lengthOrder(unsigned int major, unsigned int minor);
    long long ticks(unsigned char const * record) const;

    CByteFile & m_file;
    format::CByteOrder m_order;
    std::uint32_t m_magic;
    std::uint32_t m_linkType = 0;
    std::uint32_t m_limit = 0; // of the bytes that are kept of a frame
    std::size_t m_recordLength = format::classic::recordLength;
    LengthOrder m_lengthOrder = capturedFirst;
    std::vector<unsigned char> m_bytes{0}; // never without an address
};

} // namespace ketmon
