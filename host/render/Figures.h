#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ketmon {

// What a report, a screen or a JSON object tells, as plain data: made once from a sample, then only read.
// What isn't known is absent; it is never zero.

using CCount = std::optional<std::uint64_t>;
using CRatio = std::optional<double>; // 0 to 1

// Ticks are units of 100 ns since 1601-01-01 UTC.
using CMoment = std::optional<long long>;

struct CSourceFigures
{
    enum class Kind
    {
        file,
        interface,
        agent,
    };

    Kind kind = Kind::file;
    std::string name;                 // path, interface or address
    std::optional<std::string> agent; // what the agent calls itself
    std::string linkType = "ethernet";
    CCount linkBitsPerSecond;
};

struct CRateFigures
{
    std::optional<double> framesPerSecond;
    std::optional<double> bitsPerSecond;
};

struct CErrorFigure
{
    std::string key;  // as in JSON: "hardware_overflows"
    std::string name; // as the tree's descriptions have it
    CCount count;     // absent where no adapter tells
};

// One of the signals: what frames say of how a network fares.
struct CSignalFigure
{
    std::string key;  // as in JSON: "connections_reset"
    std::string name; // as the tree's descriptions have it
    CCount count;     // absent while they aren't counted
};

// Frames that something may be wrong with. Lengths are those on the wire, with the frame check sequence.
struct COddFigures
{
    CCount cut;       // captured in part
    CCount fragments; // of IPv4 packets
    CCount overlong;  // than Ethernet has without agreement: 1,518 bytes, 1,526 with VLAN tags
    CCount headless;  // without a whole Ethernet header
    CCount longest;   // bytes of the longest frame
};

// A row of any table. Which fields a row has follows from its table.
struct CRowFigures
{
    std::string oid;
    bool others = false; // stands for pairs that have no row any more

    // The key: one of these.
    std::string address;               // station, binding (IPv4 or IPv6)
    std::string source, destination;   // pairs
    std::optional<std::uint32_t> code; // protocol or port number, VLAN
    std::string name;                  // frame type or size
    std::string type;                  // of a row of frame types or tunnels, as in JSON: "broadcast"
    std::optional<std::uint32_t> leastBytes, mostBytes; // of a row of frame sizes; no most for the last one

    // One way only, or both.
    CCount frames, bytes;
    CCount framesSent, bytesSent, framesReceived, bytesReceived;
    CRatio share; // of the frames of the whole
    std::optional<double> averageFrameBytes;
    CRateFigures rate, rateSent, rateReceived;

    std::string macAddress;                      // of a binding
    std::optional<std::uint32_t> vlan;           // of a station: the low eight bits that are kept of it
    std::vector<CRowFigures> tcpPorts, udpPorts; // of a station

    std::uint64_t totalFrames() const
    {
        return frames.value_or(0) + framesSent.value_or(0) + framesReceived.value_or(0);
    }
    std::uint64_t totalBytes() const
    {
        return bytes.value_or(0) + bytesSent.value_or(0) + bytesReceived.value_or(0);
    }
};

// What no row of a table shows.
struct CGivenUp
{
    std::uint64_t rows = 0;
    CCount frames, bytes;                                        // one way, or both together
    CCount framesSent, bytesSent, framesReceived, bytesReceived; // where the table has both ways
};

struct CTableFigures
{
    std::string key;               // as in JSON and on the command line: "ip_traffic"
    std::string oid;               // "1.8"
    std::string name;              // as the tree's descriptions have it
    CMoment zero;                  // when its counting began, which may be before that of the whole
    bool counted = false;          // the group is on; without, there are no rows and nothing is known
    std::uint32_t limit = 0;       // most rows, one for the others included; 0 where the rows are fixed
    std::vector<CRowFigures> rows; // oldest first
    std::optional<CGivenUp> givenUp;

    // Of stations: what their tables of ports count and had to give up, all of them together.
    CMoment portsZero;
    bool portsCounted = false;
    std::uint32_t tcpPortLimit = 0, udpPortLimit = 0; // of each station
    std::optional<CGivenUp> tcpPortsGivenUp, udpPortsGivenUp;
};

struct CFigures
{
    CSourceFigures source;
    CMoment zero, time;                    // when counting began for this view, and the moment that it shows
    std::optional<double> intervalSeconds; // since the sample before
    CCount sample;

    CCount frames, bytes;
    CRatio utilisationCurrent, utilisationAverage, utilisationPeak;
    CRateFigures rates;

    CCount received, droppedByKernel, droppedByInterface;
    COddFigures odd;
    std::vector<CErrorFigure> errors;
    CRatio accuracy; // frames counted, of these and the ones that are known as lost

    bool filterGiven = false;
    CCount filtered, accepted, rejected;

    std::vector<CSignalFigure> signals;
    std::vector<CTableFigures> tables;

    // From the zero point to the moment shown, and what that comes to. Nothing unless time passed.
    std::optional<double> durationSeconds() const;
    CRateFigures averages() const;

    CTableFigures const * table(std::string const & key) const
    {
        for (CTableFigures const & each : tables)
            if (each.key == key)
                return &each;
        return nullptr;
    }
};

} // namespace ketmon
