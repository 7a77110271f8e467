#pragma once

#include "host/capture/CaptureFormat.h"
#include "host/capture/FrameReader.h"
#include "host/support/ByteInput.h"

#include <cstddef>
#include <cstdint>

namespace ketmon {

// Reads the classic format, in both byte orders and with all of its magic numbers.
class CClassicReader : public CFrameReader
{
public:
    // Whether a file that begins with these four bytes is of this format and order.
    static bool starts(unsigned char const * magic, format::CByteOrder order);

    // `input`, which is at the start of the file, must outlive the reader. Throws CDamagedCapture for a header
    // that is cut short or of an unknown version.
    CClassicReader(CByteInput & input, format::CByteOrder order);

    Step next(CCapturedFrame & frame) override;
    bool isAtHand() const override;
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
    std::uint32_t capturedLength(unsigned char const * record, std::uint32_t & length) const;

    CByteInput & m_input;
    format::CByteOrder m_order;
    std::uint32_t m_magic = 0;
    std::uint32_t m_linkType = 0;
    std::uint32_t m_limit = 0; // of the bytes that are kept of a frame
    std::size_t m_recordLength = format::classic::recordLength;
    LengthOrder m_lengthOrder = capturedFirst;
    bool m_described = false; // the header counts as the description of an interface
};

} // namespace ketmon
