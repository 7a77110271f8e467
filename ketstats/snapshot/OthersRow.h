#pragma once

#include "ketstats/model/HashedContainerStat.h"
#include "ketstats/model/RowCounts.h"

// The row of the others, in which a receiver keeps what rows had counted that its sender gave up.

namespace KetStats {

// The client must not lose traffic that the agent has dropped from its table already: the row that goes
// because its id was given to another pair leaves its counts with the summary row. Where there is a row of
// the others that came from the sender, the sender folds, and that row has the counts already.
template <class Connection>
void foldDroppedConnection(typename Connection::Container * container, unsigned int rowId)
{
    unsigned int const lastId = container->getLimit();
    Connection const * const old = container->getChildById(rowId);
    // Whatever comes under the last id, there is no place for a summary row beside it.
    if (!old || rowId == lastId)
        return;
    if (Connection * const summary = container->getSummaryStat()) {
        summary->dataTransmitted.add(old->dataTransmitted);
        summary->framesTransmitted.add(old->framesTransmitted);
        summary->markChanged();
        return;
    }
    CLedger counts;
    addCounts(counts, *old);
    if (Connection const * const last = container->getChildById(lastId)) {
        if (Connection::isOthers(last->rowKey()))
            return;
        addCounts(counts, *last); // it makes way for the summary row
    }
    // No flag goes up for a summary row that is new, which has them up already.
    if (Connection * const summary = container->createSummaryStat(typename Connection::CKey())) {
        summary->dataTransmitted = static_cast<long long>(counts.bytesTransmitted);
        summary->framesTransmitted = static_cast<unsigned int>(counts.framesTransmitted);
    }
}

// Takes off a ledger what such a row shows.
template <class Connection>
void takeOffOthers(CLedger & left, typename Connection::Container const & traffic)
{
    Connection const * const others = traffic.getChildById(traffic.getLimit());
    if (!others || !Connection::isOthers(others->rowKey()))
        return;
    auto const takeOff = [](unsigned long long & count, unsigned long long shown) {
        count = count > shown ? count - shown : 0;
    };
    CLedger shown;
    addCounts(shown, *others);
    takeOff(left.framesTransmitted, shown.framesTransmitted);
    takeOff(left.bytesTransmitted, shown.bytesTransmitted);
    if (left.framesTransmitted == 0 && left.bytesTransmitted == 0)
        left.rows = 0;
}

} // namespace KetStats
