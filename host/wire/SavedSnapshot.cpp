#include "host/wire/SavedSnapshot.h"

#include "host/wire/Fingerprint.h"

#include <fmt/core.h>

namespace ketmon {

using KetStats::CLedger;
using KetStats::CLedgers;
using KetStats::CTableLimits;

namespace {

constexpr std::string_view magic("ketmon\x1A", savedSnapshotStart);
constexpr char version = 2;
constexpr char versionOfFirstTree = 1;
constexpr std::size_t fixedLengthOfFirstTree = 560;
constexpr std::size_t fixedLength = 876;
constexpr std::uint32_t longestName = 4096;

enum Flags : std::uint32_t
{
    filteringFlag = 1,
    momentsFlag = 2,
};

// Both ends of the form walk over these.
constexpr unsigned int CTableLimits::*const limitFields[] = {
    &CTableLimits::stations,       &CTableLimits::protocols, &CTableLimits::macConnections,
    &CTableLimits::ipConnections,  &CTableLimits::arpTable,  &CTableLimits::ipSubprotocols,
    &CTableLimits::tcpPorts,       &CTableLimits::udpPorts,  &CTableLimits::stationTcpPorts,
    &CTableLimits::stationUdpPorts};
constexpr CLedger CLedgers::*const ledgerFields[] = {&CLedgers::stations,        &CLedgers::protocols,
                                                     &CLedgers::macConnections,  &CLedgers::ipConnections,
                                                     &CLedgers::arpTable,        &CLedgers::ipSubprotocols,
                                                     &CLedgers::tcpPorts,        &CLedgers::udpPorts,
                                                     &CLedgers::stationTcpPorts, &CLedgers::stationUdpPorts};
constexpr unsigned int CTableLimits::*const extendedLimitFields[] = {
    &CTableLimits::ipv6Connections, &CTableLimits::ipv6Protocols, &CTableLimits::ipv6TcpPorts,
    &CTableLimits::ipv6UdpPorts,    &CTableLimits::vlans,         &CTableLimits::innerVlans,
    &CTableLimits::neighbours};
constexpr CLedger CLedgers::*const extendedLedgerFields[] = {
    &CLedgers::ipv6Connections, &CLedgers::ipv6Protocols, &CLedgers::ipv6TcpPorts, &CLedgers::ipv6UdpPorts,
    &CLedgers::vlans,           &CLedgers::innerVlans,    &CLedgers::neighbours};
constexpr unsigned long long CLedger::*const countFields[] = {
    &CLedger::rows, &CLedger::framesTransmitted, &CLedger::bytesTransmitted, &CLedger::framesReceived,
    &CLedger::bytesReceived};

// In the upper half of the flags.
constexpr unsigned int linkTypeShift = 16;

// The number where that of Ethernet is 0, as it is where nothing was told, and back again.
std::uint32_t swappedLinkType(std::uint32_t number)
{
    return number <= 1 ? 1 - number : number;
}

class CWriter
{
public:
    template <class Value>
    void number(Value value)
    {
        for (std::size_t i = 0; i < sizeof value; ++i)
            m_bytes += static_cast<char>(static_cast<std::uint64_t>(value) >> 8 * i);
    }
    void text(std::string_view text) { m_bytes += text; }
    std::string const & bytes() const { return m_bytes; }

private:
    std::string m_bytes;
};

// Whoever reads sees first that there is enough.
class CReader
{
public:
    explicit CReader(std::string_view bytes) : m_bytes(bytes) {}

    template <class Value>
    void number(Value & value)
    {
        std::uint64_t number = 0;
        for (std::size_t i = sizeof value; i > 0; --i)
            number = number << 8 | static_cast<unsigned char>(m_bytes[i - 1]);
        value = static_cast<Value>(number);
        m_bytes.remove_prefix(sizeof value);
    }
    std::string text(std::size_t length)
    {
        std::string text(m_bytes.substr(0, length));
        m_bytes.remove_prefix(length);
        return text;
    }
    std::string_view rest() const { return m_bytes; }

private:
    std::string_view m_bytes;
};

// What stands from the groups on, but the length of the name and the moments, for writing and for reading.
template <class Stream, class Snapshot>
void figures(Stream & stream, Snapshot & snapshot, long long & first, long long & last)
{
    stream.number(snapshot.linkBits);
    stream.number(snapshot.zero);
    stream.number(snapshot.previous);
    stream.number(snapshot.time);
    stream.number(snapshot.summary.frames);
    stream.number(snapshot.summary.bytes);
    stream.number(snapshot.summary.capturedBytes);
    stream.number(first);
    stream.number(last);
    for (auto const field : limitFields)
        stream.number(snapshot.limits.*field);
    for (auto const ledger : ledgerFields)
        for (auto const count : countFields)
            stream.number(snapshot.ledgers.*ledger.*count);
}

// What stands of the second tree behind its fingerprint.
template <class Stream, class Snapshot>
void extendedFigures(Stream & stream, Snapshot & snapshot)
{
    for (auto const field : extendedLimitFields)
        stream.number(snapshot.limits.*field);
    for (auto const ledger : extendedLedgerFields)
        for (auto const count : countFields)
            stream.number(snapshot.ledgers.*ledger.*count);
}

void checkLimit(unsigned int limit)
{
    if (limit < KetStats::smallestTableLimit || limit > KetStats::largestTableLimit)
        throw CBadSavedSnapshot(fmt::format("no table has a limit of {} rows", limit));
}

void checkLimits(CTableLimits const & limits)
{
    for (auto const field : limitFields)
        checkLimit(limits.*field);
    for (auto const field : extendedLimitFields)
        checkLimit(limits.*field);
}

} // namespace

std::string encoded(CSavedSnapshot const & snapshot)
{
    CWriter writer;
    writer.text(magic);
    writer.number(snapshot.extended ? version : versionOfFirstTree);
    writer.number(static_cast<std::uint32_t>((snapshot.extended ? fixedLength : fixedLengthOfFirstTree) +
                                             snapshot.name.size()));
    writer.number(static_cast<std::uint32_t>(snapshot.bytes.size()));
    writer.number(schemaFingerprint());
    writer.number(snapshot.recording);
    writer.number(snapshot.sequence);
    writer.number((snapshot.filtering ? filteringFlag : 0U) | (snapshot.summary.first ? momentsFlag : 0U) |
                  swappedLinkType(snapshot.linkType) << linkTypeShift);
    writer.number(snapshot.groups);
    writer.number(static_cast<std::uint32_t>(snapshot.name.size()));
    long long first = snapshot.summary.first.value_or(0);
    long long last = snapshot.summary.last.value_or(0);
    figures(writer, snapshot, first, last);
    if (snapshot.extended) {
        writer.number(extendedFingerprint());
        extendedFigures(writer, snapshot);
    }
    writer.text(snapshot.name);
    writer.text(snapshot.bytes);
    return writer.bytes();
}

bool startsSavedSnapshot(std::string_view bytes)
{
    return bytes.substr(0, magic.size()) == magic;
}

std::size_t savedSnapshotLength(std::string_view start)
{
    if (start.size() < savedSnapshotLengths)
        return start.size();
    CReader reader(start.substr(magic.size() + sizeof version));
    std::uint32_t headerLength = 0, packedLength = 0;
    reader.number(headerLength);
    reader.number(packedLength);
    return std::size_t{headerLength} + packedLength;
}

CSavedSnapshot parsedSavedSnapshot(std::string_view bytes)
{
    if (!startsSavedSnapshot(bytes))
        throw CBadSavedSnapshot("no saved snapshot, or one of an older ketmon: it has no header");
    char const form = bytes.size() > magic.size() ? bytes[magic.size()] : version;
    if (form != version && form != versionOfFirstTree)
        throw CBadSavedSnapshot("saved in a form that this ketmon doesn't know");
    bool const extended = form == version;
    std::size_t const headLength = extended ? fixedLength : fixedLengthOfFirstTree;
    if (bytes.size() < headLength)
        throw CBadSavedSnapshot("the file ends within its header");

    CReader reader(bytes.substr(magic.size() + sizeof version));
    CSavedSnapshot snapshot;
    std::uint32_t headerLength = 0, packedLength = 0, flags = 0, nameLength = 0;
    std::uint64_t fingerprint = 0, ofExtended = extendedFingerprint();
    long long first = 0, last = 0;
    snapshot.extended = extended;
    reader.number(headerLength);
    reader.number(packedLength);
    reader.number(fingerprint);
    reader.number(snapshot.recording);
    reader.number(snapshot.sequence);
    reader.number(flags);
    reader.number(snapshot.groups);
    reader.number(nameLength);
    figures(reader, snapshot, first, last);
    if (extended) {
        reader.number(ofExtended);
        extendedFigures(reader, snapshot);
    }

    if (fingerprint != schemaFingerprint() || ofExtended != extendedFingerprint())
        throw CBadSavedSnapshot("saved by a ketmon with other statistics");
    if (nameLength > longestName || headerLength != headLength + nameLength)
        throw CBadSavedSnapshot("its header is damaged");
    if (bytes.size() != std::size_t{headerLength} + packedLength)
        throw CBadSavedSnapshot(bytes.size() < std::size_t{headerLength} + packedLength
                                    ? "the file ends early"
                                    : "there are bytes behind its end");
    checkLimits(snapshot.limits);
    snapshot.filtering = (flags & filteringFlag) != 0;
    snapshot.linkType = swappedLinkType(flags >> linkTypeShift);
    if ((flags & momentsFlag) != 0) {
        snapshot.summary.first = first;
        snapshot.summary.last = last;
    }
    snapshot.name = reader.text(nameLength);
    snapshot.bytes = reader.rest();
    return snapshot;
}

} // namespace ketmon
