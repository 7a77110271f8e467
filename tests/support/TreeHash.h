#pragma once

#include "ketstats/ktools/MemoryBuffer.h"
#include "ketstats/schema/Ledgers.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace test {

// Of all that a tree holds, bit for bit, so that a record of it stays short.
class TreeHash
{
public:
    void take(void const * data, std::size_t size)
    {
        auto const * const bytes = static_cast<unsigned char const *>(data);
        for (std::size_t i = 0; i < size; ++i)
            m_value = (m_value ^ bytes[i]) * 0x100000001B3;
    }
    void take(unsigned long long number) { take(&number, sizeof number); }
    void take(KetStats::CLedger const & ledger)
    {
        for (unsigned long long const number :
             {ledger.rows, ledger.framesTransmitted, ledger.bytesTransmitted, ledger.framesReceived,
              ledger.bytesReceived})
            take(number);
    }
    void take(KetStats::CLedgers const & all)
    {
        for (KetStats::CLedger const & ledger :
             {all.stations, all.protocols, all.macConnections, all.ipConnections, all.arpTable,
              all.ipSubprotocols, all.tcpPorts, all.udpPorts, all.stationTcpPorts, all.stationUdpPorts})
            take(ledger);
    }
    std::string text() const
    {
        char digits[17];
        std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(m_value));
        return digits;
    }

private:
    std::uint64_t m_value = 0xCBF29CE484222325;
};

// Takes nothing into its hands that might be changed there, so that what comes is as fast as it can be.
template <class Table>
void takeRows(TreeHash & hash, Table const & rows)
{
    ktools::CMemoryBuffer packed(4 << 20, true);
    const_cast<Table &>(rows).packValue(packed, false);
    hash.take(packed.data, static_cast<std::size_t>(packed.size));
    for (auto const & row : rows) {
        hash.take(row.getId());
        hash.take(rows.birthOf(row.getId()));
    }
}

} // namespace test
