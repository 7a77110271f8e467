#include "host/wire/SampleMessage.h"

#include "host/wire/BodyBytes.h"

#include <fmt/core.h>

#include <iterator>

namespace ketmon {

using KetStats::CLedger;
using KetStats::CLedgers;

namespace {

// In the order of the bytes, and of the bits.
constexpr std::optional<std::uint64_t> CCaptureCounters::*counterFields[] = {
    &CCaptureCounters::received,
    &CCaptureCounters::droppedByKernel,
    &CCaptureCounters::droppedByInterface,
};

constexpr CLedger CLedgers::*ledgerFields[] = {
    &CLedgers::stations,        &CLedgers::protocols,       &CLedgers::macConnections,
    &CLedgers::ipConnections,   &CLedgers::arpTable,        &CLedgers::ipSubprotocols,
    &CLedgers::tcpPorts,        &CLedgers::udpPorts,        &CLedgers::stationTcpPorts,
    &CLedgers::stationUdpPorts, &CLedgers::ipv6Connections, &CLedgers::ipv6Protocols,
    &CLedgers::ipv6TcpPorts,    &CLedgers::ipv6UdpPorts,    &CLedgers::vlans,
    &CLedgers::innerVlans,      &CLedgers::neighbours,
};
constexpr std::size_t ledgersOfFirstTree = 10;
static_assert(std::size(ledgerFields) * sizeof(CLedger) == sizeof(CLedgers), "every ledger is told");

constexpr unsigned long long CLedger::*countFields[] = {
    &CLedger::rows,           &CLedger::framesTransmitted, &CLedger::bytesTransmitted,
    &CLedger::framesReceived, &CLedger::bytesReceived,
};

void putCounters(std::string & body, CCaptureCounters const & counters)
{
    unsigned int known = 0;
    std::string values;
    for (std::size_t i = 0; i < std::size(counterFields); ++i)
        if (auto const & counter = counters.*counterFields[i]) {
            known |= 1U << i;
            put(values, *counter);
        }
    put(body, static_cast<unsigned char>(known));
    body += values;
}

CCaptureCounters parsedCounters(CBodyReader & body)
{
    CCaptureCounters counters;
    unsigned int const known = body.get<unsigned char>();
    if (known >> std::size(counterFields) != 0)
        throw CProtocolError("a sample has counters that nobody knows");
    for (std::size_t i = 0; i < std::size(counterFields); ++i)
        if (known >> i & 1U)
            counters.*counterFields[i] = body.get<std::uint64_t>();
    return counters;
}

void putLedgers(std::string & body, CLedgers const & ledgers, CLedgers const & known, bool bothTrees)
{
    std::size_t const count = bothTrees ? std::size(ledgerFields) : ledgersOfFirstTree;
    unsigned int changed = 0;
    std::string values;
    for (std::size_t i = 0; i < count; ++i) {
        CLedger const & ledger = ledgers.*ledgerFields[i];
        if (ledger == known.*ledgerFields[i])
            continue;
        changed |= 1U << i;
        for (auto const field : countFields)
            put(values, std::uint64_t{ledger.*field});
    }
    if (bothTrees)
        put(body, std::uint32_t{changed});
    else
        put(body, static_cast<std::uint16_t>(changed));
    body += values;
}

CLedgers parsedLedgers(CBodyReader & body, CLedgers ledgers, bool bothTrees)
{
    std::size_t const count = bothTrees ? std::size(ledgerFields) : ledgersOfFirstTree;
    unsigned int const changed = bothTrees ? body.get<std::uint32_t>() : body.get<std::uint16_t>();
    if (changed >> count != 0)
        throw CProtocolError("a sample has ledgers that nobody knows");
    for (std::size_t i = 0; i < count; ++i)
        if (changed >> i & 1U)
            for (auto const field : countFields)
                ledgers.*ledgerFields[i].*field = body.get<std::uint64_t>();
    return ledgers;
}

} // namespace

std::string CSampleHead::body(CLedgers const & known, std::string_view packed) const
{
    std::string body;
    put(body, sequence);
    putTicks(body, zero);
    putTicks(body, moment);
    putTicks(body, interval);
    putCounters(body, counters);
    putLedgers(body, ledgers, known, bothTrees);
    return body.append(packed);
}

CSampleHead CSampleHead::parsed(std::string_view body, CLedgers const & known, std::string_view & packed,
                                bool bothTrees)
{
    CBodyReader reader(body);
    CSampleHead head;
    head.sequence = reader.get<std::uint64_t>();
    head.zero = reader.ticks();
    head.moment = reader.ticks();
    head.interval = reader.ticks();
    head.counters = parsedCounters(reader);
    head.bothTrees = bothTrees;
    head.ledgers = parsedLedgers(reader, known, bothTrees);
    packed = reader.rest();
    return head;
}

std::string CEnd::body() const
{
    std::string body;
    put(body, static_cast<unsigned char>(reason));
    put(body, frames);
    putText(body, text);
    return body;
}

CEnd CEnd::parsed(std::string_view body)
{
    CBodyReader reader(body);
    CEnd end;
    auto const reason = reader.get<unsigned char>();
    if (reason < static_cast<unsigned char>(EndReason::ended) ||
        reason > static_cast<unsigned char>(EndReason::failed))
        throw CProtocolError(fmt::format("an end for an unknown reason, {}", reason));
    end.reason = static_cast<EndReason>(reason);
    end.frames = reader.get<std::uint64_t>();
    end.text = reader.text();
    reader.expectEnd();
    return end;
}

} // namespace ketmon
