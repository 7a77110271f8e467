#include "host/capture/StampUnit.h"

#include "host/capture/CaptureTime.h"
#include "host/capture/FrameReader.h"

#include <fmt/core.h>

namespace ketmon {

using namespace format::nextGeneration;

namespace {

constexpr std::uint64_t nanosecondsPerSecond = 1000000000;
constexpr unsigned char binaryResolution = 0x80;
constexpr unsigned int mostTwos = 63; // the powers that 64 bits hold
constexpr unsigned int mostTens = 19;

void requireOnce(bool & seen, std::size_t length, std::size_t expected)
{
    if (seen || length != expected)
        throw CDamagedCapture("the unit of an interface's time stamps is told twice or of a wrong length");
    seen = true;
}

} // namespace

CStampUnit::CStampUnit(std::span<unsigned char const> options, format::CByteOrder order)
{
    bool resolutionSeen = false;
    bool offsetSeen = false;
    while (!options.empty()) {
        if (options.size() < optionHeaderLength)
            throw CDamagedCapture("an option of an interface is cut short");
        unsigned int const code = order.two(options.data());
        std::size_t const length = order.two(options.data() + 2);
        std::size_t const padded = (length + 3) / 4 * 4;
        options = options.subspan(optionHeaderLength);
        if (options.size() < padded)
            throw CDamagedCapture("an option of an interface is cut short");

        switch (code) {
        case endOfOptions:
            if (length != 0)
                throw CDamagedCapture("the end of an interface's options has a length");
            return;
        case stampResolution:
            requireOnce(resolutionSeen, length, 1);
            setResolution(options[0]);
            break;
        case stampOffset:
            requireOnce(offsetSeen, length, 8);
            m_offset = order.eight(options.data());
            break;
        default:
            break;
        }
        options = options.subspan(padded);
    }
}

void CStampUnit::setResolution(unsigned char exponent)
{
    m_binary = (exponent & binaryResolution) != 0;
    unsigned int const power = exponent & (binaryResolution - 1U);
    if (power > (m_binary ? mostTwos : mostTens))
        throw CDamagedCapture(
            fmt::format("time stamps in units of {}^-{} s are too fine", m_binary ? 2 : 10, power));
    m_perSecond = 1;
    for (unsigned int i = 0; i < power; ++i)
        m_perSecond *= m_binary ? 2 : 10;
}

long long CStampUnit::ticks(std::uint64_t stamp) const
{
    std::uint64_t const seconds = stamp / m_perSecond + m_offset;
    std::uint64_t fraction = stamp % m_perSecond;
    if (m_binary) // the product wraps for units below 2^-34 s, as it does in libpcap
        fraction = fraction * nanosecondsPerSecond / m_perSecond;
    else if (m_perSecond > nanosecondsPerSecond)
        fraction /= m_perSecond / nanosecondsPerSecond;
    else
        fraction *= nanosecondsPerSecond / m_perSecond;
    return ticksOfStamp(static_cast<long long>(seconds), static_cast<long long>(fraction));
}

} // namespace ketmon
