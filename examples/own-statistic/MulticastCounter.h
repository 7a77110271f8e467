#pragma once

#include "MulticastGroups.h"

#include <atomic>

namespace multicast {

// The live tree, and the pass over a frame. The gate of a manager is the manager's own, so this tree has another one.
class CMulticastCounter
{
public:
    // Off at first. A single word: whoever counts reads the old or the new value.
    void enable(bool on) { m_enabled.store(on, std::memory_order_relaxed); }

    // Counts a frame. Any thread may.
    void count(CNetworkFrame & frame)
    {
        if (!m_enabled.load(std::memory_order_relaxed))
            return;
        CMediaInfo const & media = *frame.AnalyzeFrame();
        if (media.IsBroadcast() || !media.IsMulticast())
            return;
        CBoundedBytes const network = CBoundedBytes(frame).from(media.networkOffset);
        // The low 16 bits of the length, and what the medium adds: as the library counts bytes.
        long long const size = static_cast<unsigned short>(frame.GetLength()) + media.GetOverhead();

        CWriteGuard const guard(m_gate);
        if (media.GetProtocolId() == m_ipId)
            countGroup(m_tree.ipv4Groups, CIPAddress(network.number<std::uint32_t>(16)), size);
        else if (media.GetProtocolId() == m_ipv6Id)
            countGroup(m_tree.ipv6Groups, ipv6Destination(network), size);
    }

    // Gives the tree to whoever reads it, with no frame in between.
    template <class Reader>
    void read(Reader && reader)
    {
        CReadGuard const guard(m_gate);
        reader(static_cast<CMulticasts const &>(m_tree));
    }

private:
    static CIPv6Address ipv6Destination(CBoundedBytes const & network)
    {
        CIPv6Address address;
        network.copy<16>(24, address.bytes.data());
        return address;
    }

    template <class Row, class Key, class Hasher>
    void countGroup(CHashedContainerStat<Row, Key, Hasher> & table, Key const & group, long long size)
    {
        m_tree.frames.add(1);
        if (Row * const row = table.countedRenewed(group)) {
            row->framesTransmitted.add(1);
            row->dataTransmitted.add(size);
        } else { // there is memory for no row at all
            table.addLost(
                {.framesTransmitted = 1, .bytesTransmitted = static_cast<unsigned long long>(size)});
        }
    }

    CProtocolId const m_ipId = protocolId(0x08, 0x00);
    CProtocolId const m_ipv6Id = protocolId(0x86, 0xDD);

    CReadWriteGate m_gate;
    CMulticasts m_tree;
    std::atomic<bool> m_enabled{false};
};

} // namespace multicast
