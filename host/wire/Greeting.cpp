#include "host/wire/Greeting.h"

#include "host/wire/BodyBytes.h"

#include <fmt/core.h>

#include <algorithm>
#include <iterator>

namespace ketmon {

using KetStats::CTableLimits;

namespace {

// In the order of the bytes.
constexpr unsigned int CTableLimits::*limitFields[] = {
    &CTableLimits::stations,        &CTableLimits::protocols, &CTableLimits::macConnections,
    &CTableLimits::ipConnections,   &CTableLimits::arpTable,  &CTableLimits::ipSubprotocols,
    &CTableLimits::tcpPorts,        &CTableLimits::udpPorts,  &CTableLimits::stationTcpPorts,
    &CTableLimits::stationUdpPorts,
};
constexpr unsigned int CTableLimits::*extendedLimitFields[] = {
    &CTableLimits::ipv6Connections, &CTableLimits::ipv6Protocols, &CTableLimits::ipv6TcpPorts,
    &CTableLimits::ipv6UdpPorts,    &CTableLimits::vlans,         &CTableLimits::innerVlans,
    &CTableLimits::neighbours,
};
static_assert((std::size(limitFields) + std::size(extendedLimitFields)) * sizeof(unsigned int) ==
                  sizeof(CTableLimits),
              "every limit is told");

void putStart(std::string & body, std::uint16_t version, std::uint64_t fingerprint)
{
    put(body, protocolMagic);
    put(body, version);
    put(body, fingerprint);
}

// `peer` is what the other side is.
void expectStart(CBodyReader & body, std::uint64_t own, char const * peer)
{
    if (body.get<std::uint32_t>() != protocolMagic)
        throw CProtocolError("the greeting isn't one of ketmon's");
    auto const version = body.get<std::uint16_t>();
    if (version != protocolVersion)
        throw CProtocolError(fmt::format("the {} speaks version {} of the protocol, and this end version {}; "
                                         "both must be of the same ketmon",
                                         peer, version, protocolVersion));
    auto const fingerprint = body.get<std::uint64_t>();
    if (fingerprint != own)
        throw CProtocolError(
            fmt::format("the {} was built with other statistics (fingerprint {:016x}, here {:016x})", peer,
                        fingerprint, own));
}

unsigned int parsedLimit(CBodyReader & body)
{
    auto const limit = body.get<std::uint32_t>();
    if (limit < KetStats::smallestTableLimit || limit > KetStats::largestTableLimit)
        throw CProtocolError(fmt::format("a table of {} rows is announced, and {} to {} are possible", limit,
                                         KetStats::smallestTableLimit, KetStats::largestTableLimit));
    return limit;
}

} // namespace

std::string CHello::body() const
{
    std::string body;
    putStart(body, version, fingerprint);
    put(body, static_cast<std::uint16_t>(selection.size()));
    for (std::string const & identifier : selection) {
        put(body, static_cast<unsigned char>(identifier.size()));
        body += identifier;
    }
    if (extendedFingerprint)
        put(body, *extendedFingerprint);
    return body;
}

CHello CHello::parsed(std::string_view body, std::uint64_t own)
{
    CBodyReader reader(body);
    expectStart(reader, own, "console");
    CHello hello;
    hello.fingerprint = own;
    for (unsigned int count = reader.get<std::uint16_t>(); count > 0; --count)
        hello.selection.emplace_back(reader.bytes(reader.get<unsigned char>()));
    if (!reader.atEnd())
        hello.extendedFingerprint = reader.get<std::uint64_t>();
    reader.expectEnd();
    return hello;
}

std::string CWelcome::body() const
{
    std::string body;
    putStart(body, version, fingerprint);
    put(body, interval);
    put(body, heartbeat);
    body.append(identity.begin(), identity.end());
    putTicks(body, epoch);
    put(body, static_cast<std::uint32_t>(groups.to_ulong()));
    put(body, static_cast<std::uint32_t>(errors.to_ulong()));
    put(body, static_cast<unsigned char>(kind));
    put(body, linkType);
    put(body, linkSpeed);
    for (auto const field : limitFields)
        put(body, std::uint32_t{limits.*field});
    putText(body, source);
    putText(body, agent);
    if (extended)
        for (auto const field : extendedLimitFields)
            put(body, std::uint32_t{limits.*field});
    return body;
}

CWelcome CWelcome::parsed(std::string_view body, std::uint64_t own)
{
    CBodyReader reader(body);
    expectStart(reader, own, "agent");
    CWelcome welcome;
    welcome.fingerprint = own;
    welcome.interval = reader.get<std::uint32_t>();
    welcome.heartbeat = std::clamp(reader.get<std::uint32_t>(), shortestHeartbeat, longestHeartbeat);
    std::string_view const identity = reader.bytes(welcome.identity.size());
    std::copy(identity.begin(), identity.end(), welcome.identity.begin());
    welcome.epoch = reader.ticks();
    welcome.groups = reader.get<std::uint32_t>();
    welcome.errors = reader.get<std::uint32_t>();
    auto const kind = reader.get<unsigned char>();
    if (kind != static_cast<unsigned char>(SourceKind::file) &&
        kind != static_cast<unsigned char>(SourceKind::interface))
        throw CProtocolError(fmt::format("a source of an unknown kind, {}, is announced", kind));
    welcome.kind = static_cast<SourceKind>(kind);
    welcome.linkType = reader.get<std::uint16_t>();
    welcome.linkSpeed = reader.get<std::uint64_t>();
    for (auto const field : limitFields)
        welcome.limits.*field = parsedLimit(reader);
    welcome.source = reader.text();
    welcome.agent = reader.text();
    welcome.extended = !reader.atEnd();
    if (welcome.extended)
        for (auto const field : extendedLimitFields)
            welcome.limits.*field = parsedLimit(reader);
    reader.expectEnd();
    return welcome;
}

} // namespace ketmon
