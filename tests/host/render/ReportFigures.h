#pragma once

#include "host/render/Names.h"
#include "host/render/ReportText.h"

#include <map>
#include <string>

// Figures and names by hand, for reports that a test draws.
namespace test {

inline ketmon::CRowFigures pair(std::string const & source, std::string const & destination,
                                std::uint64_t frames, std::uint64_t bytes)
{
    ketmon::CRowFigures row;
    row.source = source;
    row.destination = destination;
    row.frames = frames;
    row.bytes = bytes;
    return row;
}

inline ketmon::CRowFigures others(std::uint64_t frames, std::uint64_t bytes)
{
    ketmon::CRowFigures row = pair("0.0.0.0", "0.0.0.0", frames, bytes);
    row.others = true;
    return row;
}

inline ketmon::CRowFigures protocol(std::uint32_t code, std::uint64_t frames, std::uint64_t bytes)
{
    ketmon::CRowFigures row;
    row.code = code;
    row.frames = frames;
    row.bytes = bytes;
    return row;
}

// Of a station or of a port, by its address or its number.
inline ketmon::CRowFigures bothWays(std::uint64_t framesSent, std::uint64_t bytesSent,
                                    std::uint64_t framesReceived, std::uint64_t bytesReceived)
{
    ketmon::CRowFigures row;
    row.framesSent = framesSent;
    row.bytesSent = bytesSent;
    row.framesReceived = framesReceived;
    row.bytesReceived = bytesReceived;
    return row;
}

inline ketmon::CRowFigures station(std::string const & address, ketmon::CRowFigures counts)
{
    counts.address = address;
    return counts;
}

inline ketmon::CRowFigures port(std::uint32_t number, ketmon::CRowFigures counts)
{
    counts.code = number;
    return counts;
}

inline ketmon::CRowFigures binding(std::string const & address, std::string const & mac)
{
    ketmon::CRowFigures row;
    row.address = address;
    row.macAddress = mac;
    return row;
}

inline ketmon::CTableFigures table(std::string const & key, std::vector<ketmon::CRowFigures> rows)
{
    ketmon::CTableFigures figures;
    figures.key = key;
    figures.oid = "1.99";
    figures.name = key;
    figures.counted = true;
    figures.rows = std::move(rows);
    return figures;
}

inline ketmon::CTableFigures notCounted(std::string const & key)
{
    ketmon::CTableFigures figures = table(key, {});
    figures.counted = false;
    return figures;
}

// Of a file, over ten seconds from 2020-01-01 on.
inline ketmon::CFigures figures(std::uint64_t frames, std::uint64_t bytes,
                                std::vector<ketmon::CTableFigures> tables = {})
{
    ketmon::CFigures all;
    all.source.name = "some.pcap";
    all.zero = 132223104000000000;
    all.time = *all.zero + 100000000;
    all.frames = frames;
    all.bytes = bytes;
    all.tables = std::move(tables);
    return all;
}

// Names that are the same on every machine.
class FixedNames : public ketmon::CNames
{
public:
    std::map<std::string, std::string> hosts;

    std::string service(ketmon::CTransport transport, std::uint32_t number) const override;
    std::string protocol(std::uint32_t code) const override;
    std::string ipProtocol(std::uint32_t code) const override;
    std::string vendor(std::string const & mac) const override;
    std::string host(std::string const & address) const override;
};

// The lines of a text that start with `start` and those that follow, up to an empty one.
std::string part(std::string const & text, std::string const & start);

} // namespace test
