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

CNextGenerationReader::CNextGenerationReader(CByteFile & file) : m_file(file)
{
    readFirstSection();
    readFirstInterface();
}

// The first header tells the byte order, and unlike all other blocks nobody minds how it ends.
void CNextGenerationReader::readFirstSection()
{
    unsigned char start[8]; // the length, which can only be read when the order is known, and that
    if (m_file.read(start, sizeof start) != sizeof start)
        throw CDamagedCapture("unknown file format");
    if (m_order.four(start + 4) != orderMagic)
        m_order = m_order.other();
    if (m_order.four(start + 4) != orderMagic)
        throw CDamagedCapture("unknown file format");

    std::uint32_t const length = m_order.four(start);
    if (length < emptyBlock + sectionLength || length > longestSectionHeader)
        throw CDamagedCapture(fmt::format("a section header claims {} bytes", length));
    std::size_t const rest = length - format::magicLength - sizeof start;
    if (m_file.read(m_bytes, rest) != rest)
        throw CDamagedCapture("the file ends within its header");
    unsigned int const major = m_order.two(m_bytes.data());
    unsigned int const minor = m_order.two(m_bytes.data() + 2);
    if (major != 1 || (minor != 0 && minor != 2))
        throw CDamagedCapture(fmt::format("version {}.{} of the file format is unknown", major, minor));
}

// Another section header in front of it is skipped like any block.
void CNextGenerationReader::readFirstInterface()
{
    CBlock block{};
    do {
        if (!readBlock(block))
            throw CDamagedCapture("the file has no interface");
        if (isPacket(block.type))
            throw CDamagedCapture("a packet stands in front of the first interface");
    } while (block.type != interfaceDescription);
    require(block.body, interfaceLength);
    m_linkType = m_order.two(block.body.data());
    m_limit = format::sensibleLimit(m_order.four(block.body.data() + 4));
    addInterface(block.body);
}

bool CNextGenerationReader::next(CCapturedFrame & frame)
{
    CBlock block{};
    while (readBlock(block)) {
        if (isPacket(block.type)) {
            take(packetOf(block), frame);
            return true;
        }
        if (block.type == interfaceDescription)
            addInterface(block.body);
        else if (block.type == sectionHeader)
            startSection(block.body);
    }
    return false;
}

bool CNextGenerationReader::readBlock(CBlock & block)
{
    unsigned char header[blockHeaderLength];
    std::size_t const got = m_file.read(header, sizeof header);
    if (got == 0)
        return false;
    if (got != sizeof header)
        throw CDamagedCapture("the file ends within the header of a block");
    block.type = m_order.four(header);
    std::uint32_t const length = m_order.four(header + 4);
    if (length < emptyBlock || length % 4 != 0 || length > longestBlock)
        throw CDamagedCapture(fmt::format("a block claims {} bytes", length));

    std::size_t const rest = length - blockHeaderLength;
    if (m_file.read(m_bytes, rest) != rest)
        throw CDamagedCapture(fmt::format("the file ends within a block of {} bytes", length));
    block.body = {m_bytes.data(), rest - blockTrailerLength};
    if (m_order.four(block.body.data() + block.body.size()) != length)
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
    if (m_order.two(body.data()) != m_linkType ||
        format::sensibleLimit(m_order.four(body.data() + 4)) != m_limit)
        throw CDamagedCapture("an interface differs from the first in its link type or its captured length");
    m_interfaces.emplace_back(body.subspan(interfaceLength), m_order);
}

CNextGenerationReader::CPacket CNextGenerationReader::packetOf(CBlock const & block) const
{
    auto const four = [&](std::size_t at) { return m_order.four(block.body.data() + at); };
    if (block.type == simplePacket) { // of the first interface, without a stamp
        require(block.body, simplePacketLength);
        return {0, 0, std::min(four(0), m_limit), four(0), block.body.subspan(simplePacketLength)};
    }
    require(block.body, packetLength);
    std::uint32_t const index = block.type == enhancedPacket ? four(0) : m_order.two(block.body.data());
    std::uint64_t const stamp = static_cast<std::uint64_t>(four(4)) << 32 | four(8);
    return {index, stamp, four(12), four(16), block.body.subspan(packetLength)};
}

void CNextGenerationReader::take(CPacket const & packet, CCapturedFrame & frame) const
{
    if (packet.interfaceIndex >= m_interfaces.size())
        throw CDamagedCapture(fmt::format("a packet names the unknown interface {}", packet.interfaceIndex));
    if (packet.captured > m_limit)
        throw CDamagedCapture(fmt::format("a packet claims {} captured bytes", packet.captured));
    require(packet.bytes, packet.captured);
    frame.data = packet.bytes.data();
    frame.capturedLength = packet.captured;
    frame.length = packet.length;
    frame.ticks = m_interfaces[packet.interfaceIndex].ticks(packet.stamp);
}

} // namespace ketmon
