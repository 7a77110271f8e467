#include "host/capture/posix/InterfaceCounters.h"

#include <fstream>

namespace ketmon {

namespace {

// A driver statistic by its number, its id below "1.2", and the system's counters that make it up. The system
// has one counter for collisions of any number, and none for deferred frames, single collisions and frames
// given up.
struct CSource
{
    long oid;
    unsigned int id;
    char const * first;
    char const * second;
};

constexpr CSource sources[] = {
    {0x0002020D, 4, "rx_crc_errors", nullptr},            // CRC errors
    {0x01020101, 5, "rx_frame_errors", nullptr},          // alignment errors
    {0x01020103, 7, "collisions", nullptr},               // multiple collisions
    {0x01020203, 10, "rx_over_errors", "rx_fifo_errors"}, // receive overruns
    {0x01020205, 11, "tx_heartbeat_errors", nullptr},     // heartbeat failure
    {0x01020206, 12, "tx_carrier_errors", nullptr},       // carrier lost
    {0x01020207, 13, "tx_window_errors", nullptr},        // late collisions
};

// Ids below "1.2" of what the capture itself knows.
constexpr unsigned int hardwareOverflows = 1;
constexpr unsigned int softwareOverflows = 2;

constexpr long bitsPerMegabit = 1000000;
constexpr char counterPrefix[] = "statistics/";

// What is lost before the system gets it, as libpcap adds it up.
constexpr std::array<char const *, 2> drops = {"rx_missed_errors", "rx_fifo_errors"};

std::optional<long> number(std::string const & path)
{
    long value = 0;
    std::ifstream stream(path);
    return stream >> value ? std::optional(value) : std::nullopt;
}

} // namespace

CInterfaceCounters::CInterfaceCounters(std::string folder, long linkSpeed)
    : m_linkSpeed(linkSpeed),
      m_folder(std::move(folder))
{}

long CInterfaceCounters::GetLinkSpeed()
{
    if (m_linkSpeed != 0)
        return m_linkSpeed;
    // -1, or nothing to read, where there is no such thing.
    long const megabits = number(file("speed")).value_or(0);
    return megabits > 0 ? megabits * bitsPerMegabit : 0;
}

long CInterfaceCounters::GetMissedFrames()
{
    return static_cast<long>(capture().droppedByInterface.value_or(0));
}

long CInterfaceCounters::GetSoftMissedFrames()
{
    return static_cast<long>(capture().droppedByKernel.value_or(0));
}

long CInterfaceCounters::GetLong(long oid)
{
    for (CSource const & source : sources)
        if (source.oid == oid)
            return static_cast<long>(sumOf(source.first, source.second).value_or(0));
    return 0;
}

std::bitset<32> CInterfaceCounters::errors() const
{
    std::bitset<32> ids;
    CCaptureCounters const known = capture();
    ids[hardwareOverflows] = known.droppedByInterface.has_value();
    ids[softwareOverflows] = known.droppedByKernel.has_value();
    for (CSource const & source : sources)
        ids[source.id] = sumOf(source.first, source.second).has_value();
    return ids;
}

void CInterfaceCounters::setCapture(CCaptureCounters const & counters)
{
    std::lock_guard const lock(m_mutex);
    m_capture = counters;
}

CCaptureCounters CInterfaceCounters::capture() const
{
    std::lock_guard const lock(m_mutex);
    return m_capture;
}

void CInterfaceCounters::setFolder(std::string folder)
{
    std::lock_guard const lock(m_mutex);
    m_folder = std::move(folder);
}

void CInterfaceCounters::beginCapture()
{
    for (std::size_t i = 0; i < m_firstDrops.size(); ++i)
        m_firstDrops[i] = counter(drops[i]);
}

std::optional<std::uint64_t> CInterfaceCounters::droppedSinceBegin() const
{
    std::optional<std::uint64_t> sum;
    for (std::size_t i = 0; i < m_firstDrops.size(); ++i)
        // What was there already when one can be read only later isn't of this capture.
        if (m_firstDrops[i])
            sum = sum.value_or(0) + (counter(drops[i]).value_or(0) - *m_firstDrops[i]);
    return sum;
}

std::string CInterfaceCounters::file(std::string const & name) const
{
    std::lock_guard const lock(m_mutex);
    return m_folder + '/' + name;
}

std::optional<std::uint64_t> CInterfaceCounters::counter(char const * name) const
{
    // From the reading on, or an older value that is seen later would be taken for a start anew.
    std::lock_guard const lock(m_reading);
    std::optional<long> const now = number(file(counterPrefix) + name);
    CRisingCounter & seen = m_seen[name];
    if (now && *now >= 0)
        seen.saw(static_cast<std::uint64_t>(*now));
    return seen.value();
}

std::optional<std::uint64_t> CInterfaceCounters::sumOf(char const * first, char const * second) const
{
    std::optional<std::uint64_t> const one = counter(first);
    std::optional<std::uint64_t> const other = second ? counter(second) : 0;
    return one && other ? std::optional(*one + *other) : std::nullopt;
}

std::string interfaceFolder(std::string const & name)
{
    return "/sys/class/net/" + name;
}

} // namespace ketmon
