#pragma once

#include "ketstats/snapshot/StatSnapshot.h"

#include "tests/support/Bytes.h"
#include "tests/support/Frames.h"
#include "tests/support/Raised.h"

#include <memory>

namespace test {

// What a client reads.
inline KetStats::CAgentStatistic & visible(KetStats::CStatSnapshot & snapshot)
{
    return static_cast<KetStats::CAgentStatistic &>(*snapshot.getStat(KetStats::COid("1")));
}

inline Bytes packedFull(KetStats::CStatSnapshot & snapshot)
{
    ktools::CMemoryBuffer buffer;
    snapshot.pack(buffer, false);
    return contents(buffer);
}

inline Bytes packedChanges(KetStats::CStatSnapshot & snapshot)
{
    ktools::CMemoryBuffer buffer;
    snapshot.pack(buffer, true);
    return contents(buffer);
}

// What an operation of a selection, and the reading of bytes, raised, if they did.
template <class Operation>
Raised raisedBySelection(Operation && operation)
{
    return raisedBy<KetStats::CAgentStatistic::CException>(operation);
}

inline Raised read(KetStats::CStatSnapshot & snapshot, Bytes const & stream)
{
    ktools::CMemoryBuffer buffer(stream.data(), static_cast<int>(stream.size()));
    return raisedBy<ktools::CMemoryBuffer::CException>([&] { snapshot.unpack(buffer); });
}

inline Raised const noPosition{1, "AgentStatistic", 559, true};
inline Raised const noSuchStatistic{2, "StatSnapshot", 204, true};
inline Raised const noSnapshot{2, "StatSnapshot", 555, true};
inline Raised const noSuchChild{2, "StatTypes", 283, true};
inline Raised const bytesEnded{1, "MemoryBuffer", 184, true};

inline KetStats::CMACConnectionStat::CKey macPair(char const * from, char const * to)
{
    KetStats::CMACConnectionStat::CKey key;
    key.first = mac(from);
    key.second = mac(to);
    return key;
}

inline KetStats::CIPConnectionStat::CKey ipPair(std::string const & from, std::string const & to)
{
    return {ip(from), ip(to)};
}

// The row of that key with that many frames and bytes sent.
template <class Table, class Key>
auto & put(Table & table, Key const & key, unsigned int frames, long long data)
{
    auto & row = *table.renewed(key);
    row.framesTransmitted = frames;
    row.dataTransmitted = data;
    return row;
}

// A live tree that a test fills by hand.
class Live
{
public:
    KetStats::CAgentStatistic & operator*() { return *m_tree; }
    KetStats::CAgentStatistic * operator->() { return m_tree.get(); }

private:
    std::unique_ptr<KetStats::CAgentStatistic> m_tree = std::make_unique<KetStats::CAgentStatistic>();
};

// Something in every group that a sample can show.
inline void fillEveryGroup(KetStats::CAgentStatistic & tree)
{
    tree.globalStatistics.transmittedFrames = 3U;
    tree.globalStatistics.transmittedData = 300LL;
    tree.globalErrors.crcErrors = 7U;
    tree.frameTables.frameTypes.unicast.frames = 3U;
    tree.frameTables.frameTypes.unicast.data = 300LL;
    put(tree.stations, mac(macA), 3, 300);
    put(tree.protocols, id(0x0800), 3, 300);
    put(tree.macConnections, macPair(macA, macB), 3, 300);
    put(tree.ipConnections, ipPair("10.0.0.10", "10.0.0.11"), 3, 300);
    tree.arpTable.createIfNew(ip("10.0.0.10"), mac(macA));
    put(tree.ipSubprotocols, id(6), 3, 300);
    put(tree.ipPorts.tcpPorts, id(80), 3, 300);
}

} // namespace test
