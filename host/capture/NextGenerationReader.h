#pragma once

#include "host/capture/CaptureFormat.h"
#include "host/capture/FrameReader.h"
#include "host/capture/StampUnit.h"
#include "host/support/ByteFile.h"

#include <cstdint>
#include <span>
#include <vector>

namespace ketmon {

// Reads the format of the next generation: several sections of one byte order, each with several interfaces
// that share a link type and a limit of captured bytes. Packets of all three kinds are read, other blocks
// skipped.
class CNextGenerationReader : public CFrameReader
{
public:
    // Whether a file that begins with these four bytes is of this format.
    static bool starts(unsigned char const * magic);

    // `file`, of which the first four bytes were read, must outlive the reader. Reads up to the first
    // interface. Throws CDamagedCapture if there is none.
    explicit CNextGenerationReader(CByteFile & file);

    bool next(CCapturedFrame & frame) override;
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

    void readFirstSection();
    void readFirstInterface();
    bool readBlock(CBlock & block);
    void startSection(Bytes body);
    void addInterface(Bytes body);
    CPacket packetOf(CBlock const & block) const;
    void take(CPacket const & packet, CCapturedFrame & frame) const;

    CByteFile & m_file;
    format::CByteOrder m_order = format::littleEndian;
    std::uint32_t m_linkType = 0; // this and the next are those of the first interface
    std::uint32_t m_limit = 0;
    std::vector<CStampUnit> m_interfaces; // of the section
    std::vector<unsigned char> m_bytes;   // of the block
};

} // namespace ketmon
