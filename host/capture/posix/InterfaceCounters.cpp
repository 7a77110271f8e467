#include "host/capture/posix/InterfaceCounters.h"

#include <fstream>

namespace ketmon {

namespace {

// A driver statistic by its number, and the system's counters that make it up. The system has one counter for
// collisions of any number, and none for deferred frames, single collisions and frames given up.
struct CSource
{
    long oid;
    char const * first;
    char const * second;
};

constexpr CSource sources[] = {
    {0x0002020D, "rx_crc_errors", nullptr},           // CRC errors
    {0x01020101, "rx_frame_errors", nullptr},         // alignment errors
    {0x01020103, "collisions", nullptr},              // multiple collisions
    {0x01020203, "rx_over_errors", "rx_fifo_errors"}, // receive overruns
    {0x01020205, "tx_heartbeat_errors", nullptr},     // heartbeat failure
    {0x01020206, "tx_carrier_errors", nullptr},       // carrier lost
    {0x01020207, "tx_window_errors", nullptr},        // late collisions
};

constexpr long bitsPerMegabit = 1000000;

} // namespace

CInterfaceCounters::CInterfaceCounters(std::string folder, long linkSpeed)
    : m_folder(std::move(folder)),
      m_linkSpeed(linkSpeed)
{}

long CInterfaceCounters::GetLinkSpeed()
{
    if (m_linkSpeed != 0)
        return m_linkSpeed;
    // -1, or nothing to read, where there is no such thing.
    long const megabits = number("/speed");
    return megabits > 0 ? megabits * bitsPerMegabit : 0;
}

long CInterfaceCounters::GetLong(long oid)
{
    for (CSource const & source : sources)
        if (source.oid == oid)
            return number(std::string("/statistics/") + source.first) +
                   (source.second ? number(std::string("/statistics/") + source.second) : 0);
    return 0;
}

void CInterfaceCounters::setLosses(long missed, long softMissed)
{
    m_missed.store(missed, std::memory_order_relaxed);
    m_softMissed.store(softMissed, std::memory_order_relaxed);
}

long CInterfaceCounters::number(std::string const & file) const
{
    long value = 0;
    std::ifstream stream(m_folder + file);
    return stream >> value ? value : 0;
}

std::string interfaceFolder(std::string const & name)
{
    return "/sys/class/net/" + name;
}

} // namespace ketmon
