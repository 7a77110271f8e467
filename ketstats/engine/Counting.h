#pragma once

#include "ketstats/model/HashedContainerStat.h"

#include <new>

// How a frame is counted in rows, and what it teaches entered, where memory may be short.
namespace KetStats {

template <class Row>
void countTransmitted(Row & row, long long frameSize)
{
    row.framesTransmitted.add(1);
    row.dataTransmitted.add(frameSize);
}

template <class Row>
void countReceived(Row & row, long long frameSize)
{
    row.framesReceived.add(1);
    row.dataReceived.add(frameSize);
}

// Counts in the row of a table, or in its ledger where there is neither a row nor memory for one.
template <class Table, class Row>
void countTransmitted(Table & table, Row * row, long long frameSize)
{
    if (row) [[likely]]
        countTransmitted(*row, frameSize);
    else
        table.addLost(
            {.framesTransmitted = 1, .bytesTransmitted = static_cast<unsigned long long>(frameSize)});
}

template <class Table, class Row>
void countReceived(Table & table, Row * row, long long frameSize)
{
    if (row) [[likely]]
        countReceived(*row, frameSize);
    else
        table.addLost({.framesReceived = 1, .bytesReceived = static_cast<unsigned long long>(frameSize)});
}

// A table of bindings records the first one seen: a known address stays as it is, and true is what tells that it is bound
// to another MAC address. Where memory runs out the oldest binding makes way as in a full table, and a first one isn't
// learned.
template <class Table, class Key>
bool learnBinding(Table & table, Key const & address, CMACAddrPacked const & mac)
{
    try {
        if (auto const * const row = table.bound(address, mac))
            return !(row->macAddress.get() == mac);
    } catch (std::bad_alloc const &) {
        if (table.size() == 0)
            return false;
    }
    table.deleteOldest();
    table.learn(address, mac);
    return false;
}

} // namespace KetStats
