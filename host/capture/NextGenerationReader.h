#pragma once

#include "host/capture/CaptureFormat.h"
#include "host/capture/FrameReader.h"
#include "host/capture/StampUnit.h"
#include "host/support/ByteInput.h"

#include <cstdint>
#include <span>
#include <vector>

namespace ketmon {

// Reads the format of the next generation: several sections of one byte order, each with several interfaces,
// of which each has a link type, a limit of captured bytes and a unit of time of its own. Packets of all three
// kinds are read, other blocks skipped.
class CNextGenerationReader : public CFrameReader
{
public:
    // Whether a file that begins with these four bytes is of this format.
    static bool starts(unsigned char const * magic);

    // `input`, which is at the start of the file, must outlive the reader. Throws CDamagedCapture for a first
    // section that is none.
    explicit CNextGenerationReader(CByteInput & input);

    Step next(CCapturedFrame & frame) override;
    bool isAtHand() const override;
    std::uint32_t linkType() const override { return m_linkType; }

private:
    using Bytes = std::span<unsigned char const>;

    struct CBlock
    {
        std::uint32_t type;
        Bytes body;
    };

    struct CPacket
    {
        std::uint32_t interfaceIndex;
        std::uint64_t stamp;
        std::uint32_t captured;
        std::uint32_t length;
        Bytes bytes; // with what stands behind them
    };

    struct CInterface
    {
        std::uint32_t linkType;
        std::uint32_t limit;
        CStampUnit unit;
    };

    void readFirstSection();
    bool readBlock(CBlock & block);
    void startSection(Bytes body);
    void addInterface(Bytes body);
    CInterface const & interfaceAt(std::uint32_t index) const;
    CPacket packetOf(CBlock const & block) const;
    void take(CPacket const & packet, CCapturedFrame & frame);

    CByteInput & m_input;
    format::CByteOrder m_order = format::littleEndian;
    std::uint32_t m_linkType = 0;
    bool m_begun = false;                 // whether there was an interface
    std::vector<CInterface> m_interfaces; // of the section
};

} // namespace ketmon
