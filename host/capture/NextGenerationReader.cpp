#include "host/capture/NextGenerationReader.h"

#include <fmt/core.h>

#include <algorithm>

namespace ketmon {

using namespace format::nextGeneration;

namespace {

void require(std::span<unsigned char const> bytes, std::size_t count)
{
    if (bytes.size() < count)
        throw CDamagedCapture("a block is too short for what it holds");
}

bool isPacket(std::uint32_t type)
{
    return type == enhancedPacket || type == simplePacket || type == obsoletePacket;
}

} // namespace

bool CNextGenerationReader::starts(unsigned char const * magic)
{
    return format::littleEndian.four(magic) == sectionHeader;
}

CNextGenerationReader::CNextGenerationReader(CByteInput & input) : m_input(input)
{
    readFirstSection();
}

// The first header tells the byte order, and unlike all other blocks nobody minds how it ends.
void CNextGenerationReader::readFirstSection()
{
    constexpr std::size_t startLength = blockHeaderLength + 4; // the order stands behind the block's header
    Bytes const start = m_input.look(startLength);
    if (start.size() != startLength)
        throw CDamagedCapture("unknown file format");
    if (m_order.four(start.data() + blockHeaderLength) != orderMagic)
        m_order = m_order.other();
    if (m_order.four(start.data() + blockHeaderLength) != orderMagic)
        throw CDamagedCapture("unknown file format");

    std::uint32_t const length = m_order.four(start.data() + 4);
    if (length < emptyBlock + sectionLength || length > longestSectionHeader)
        throw CDamagedCapture(fmt::format("a section header claims {} bytes", length));
    Bytes const header = m_input.take(length);
    if (header.size() != length)
        throw cutCapture("the file ends within its header");
    unsigned int const major = m_order.two(header.data() + startLength);
    unsigned int const minor = m_order.two(header.data() + startLength + 2);
    if (major != 1 || (minor != 0 && minor != 2))
        throw CDamagedCapture(fmt::format("version {}.{} of the file format is unknown", major, minor));
}

CFrameReader::Step CNextGenerationReader::next(CCapturedFrame & frame)
{
    CBlock block{};
    while (readBlock(block)) {
        if (isPacket(block.type)) {
            if (!m_begun)
                throw CDamagedCapture("a packet stands in front of the first interface");
            take(packetOf(block), frame);
            return Step::frame;
        }
        if (block.type == interfaceDescription) {
            addInterface(block.body);
            return Step::description;
        }
        // In front of the first interface nobody minds what it says.
        if (block.type == sectionHeader && m_begun)
            startSection(block.body);
    }
    if (!m_begun)
        throw CDamagedCapture("the file has no interface");
    return Step::end;
}

bool CNextGenerationReader::isAtHand() const
{
    Bytes const bytes = m_input.atHand();
    return m_begun && bytes.size() >= blockHeaderLength && isPacket(m_order.four(bytes.data())) &&
           m_order.four(bytes.data() + 4) <= bytes.size();
}

bool CNextGenerationReader::readBlock(CBlock & block)
{
    Bytes const header = m_input.take(blockHeaderLength);
    if (header.empty())
        return false;
    if (header.size() != blockHeaderLength)
        throw cutCapture("the file ends within the header of a block");
    block.type = m_order.four(header.data());
    std::uint32_t const length = m_order.four(header.data() + 4);
    if (length < emptyBlock || length % 4 != 0 || length > longestBlock)
        throw CDamagedCapture(fmt::format("a block claims {} bytes", length));

    std::size_t const rest = length - blockHeaderLength;
    Bytes const bytes = m_input.take(rest);
    if (bytes.size() != rest)
        throw cutCapture(fmt::format("the file ends within a block of {} bytes", length));
    block.body = bytes.first(rest - blockTrailerLength);
    if (m_order.four(bytes.data() + block.body.size()) != length)
        throw CDamagedCapture("the two lengths of a block differ");
    return true;
}

void CNextGenerationReader::startSection(Bytes body)
{
    require(body, sectionLength);
    if (m_order.four(body.data()) != orderMagic)
        throw CDamagedCapture("a section has another byte order than the first, or none");
    unsigned int const major = m_order.two(body.data() + 4);
    if (major != 1)
        throw CDamagedCapture(fmt::format("version {} of the file format is unknown", major));
    m_interfaces.clear();
}

void CNextGenerationReader::addInterface(Bytes body)
{
    require(body, interfaceLength);
    if (m_interfaces.size() == mostInterfaces)
        throw CDamagedCapture(fmt::format("a section has more than {} interfaces", mostInterfaces));
    m_linkType = m_order.two(body.data());
    m_interfaces.push_back({m_linkType, format::sensibleLimit(m_order.four(body.data() + 4)),
                            CStampUnit(body.subspan(interfaceLength), m_order)});
    m_begun = true;
}

CNextGenerationReader::CInterface const & CNextGenerationReader::interfaceAt(std::uint32_t index) const
{
    if (index >= m_interfaces.size())
        throw CDamagedCapture(fmt::format("a packet names the unknown interface {}", index));
    return m_interfaces[index];
}

CNextGenerationReader::CPacket CNextGenerationReader::packetOf(CBlock const & block) const
{
    auto const four = [&](std::size_t at) { return m_order.four(block.body.data() + at); };
    if (block.type == simplePacket) { // of the first interface, without a stamp
        require(block.body, simplePacketLength);
        return {0, 0, std::min(four(0), interfaceAt(0).limit), four(0),
                block.body.subspan(simplePacketLength)};
    }
    require(block.body, packetLength);
    std::uint32_t const index = block.type == enhancedPacket ? four(0) : m_order.two(block.body.data());
    std::uint64_t const stamp = static_cast<std::uint64_t>(four(4)) << 32 | four(8);
    return {index, stamp, four(12), four(16), block.body.subspan(packetLength)};
}

void CNextGenerationReader::take(CPacket const & packet, CCapturedFrame & frame)
{
    CInterface const & interface = interfaceAt(packet.interfaceIndex);
    if (packet.captured > interface.limit)
        throw CDamagedCapture(fmt::format("a packet claims {} captured bytes", packet.captured));
    require(packet.bytes, packet.captured);
    m_linkType = interface.linkType;
    frame.data = packet.bytes.data();
    frame.capturedLength = packet.captured;
    frame.length = packet.length;
    frame.ticks = interface.unit.ticks(packet.stamp);
}

} // namespace ketmon
