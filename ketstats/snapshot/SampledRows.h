#pragma once

#include "ketstats/model/HashedContainerStatImpl.h"
#include "ketstats/model/RowCounts.h"
#include "ketstats/schema/FrameTables.h"
#include "ketstats/snapshot/ZeroRows.h"

#include <algorithm>
#include <span>
#include <type_traits>

// How counters and rows of a live tree become those since a zero point.

namespace KetStats {

template <class T>
void subtract(CValueStat<T> & target, CValueStat<T> const & live, CValueStat<T> const & base)
{
    target = static_cast<T>(static_cast<unsigned long long>(live.shared()) -
                            static_cast<unsigned long long>(base.get()));
}

// Takes the base's count off a counter of a row.
template <auto Counter>
void reduce(auto & row, auto base)
{
    auto const count = row.template get<Counter>();
    static_assert(std::is_same_v<decltype(base), std::remove_const_t<decltype(count)>>);
    row.template set<Counter>(static_cast<decltype(base)>(static_cast<unsigned long long>(count) -
                                                          static_cast<unsigned long long>(base)));
}

template <class T>
void reduceBy(typename CFlatRows<T>::CRow & row, typename CTableZero<T>::CRow const & base)
{
    reduce<&T::dataTransmitted>(row, base.dataTransmitted);
    reduce<&T::framesTransmitted>(row, base.framesTransmitted);
    if constexpr (CTableZero<T>::bothWays) {
        reduce<&T::dataReceived>(row, base.dataReceived);
        reduce<&T::framesReceived>(row, base.framesReceived);
    }
}

template <class T>
void addZero(CLedger & sum, typename CTableZero<T>::CRow const & base)
{
    sum.framesTransmitted += base.framesTransmitted;
    sum.bytesTransmitted += static_cast<unsigned long long>(base.dataTransmitted);
    if constexpr (CTableZero<T>::bothWays) {
        sum.framesReceived += base.framesReceived;
        sum.bytesReceived += static_cast<unsigned long long>(base.dataReceived);
    }
}

// Brings the sample of a table up to date, and takes off each row what the base has of it. Rows keep their id
// for as long as they live, so a base row stands under the id of its row. If it has another key the id changed
// hands since, and it is never asked again. Nothing below a row is reduced.
//
// With `apart` a base row is taken off the very row that it is a copy of and no other, and once.
//
// Into `ledger` goes what no row of the sample shows of what was counted since the zero point. That is what the table
// gave up since, less what those rows had counted before: the base has all of it, but for the rows still there.
//
// Of a table that is the same as it was, so is all of this. But rows of the sample that are gone are less each
// time.
template <class T, class K, class H>
void sampleRows(CHashedContainerStat<T, K, H> & sample, CTableZero<T> & zero,
                CHashedContainerStat<T, K, H> const & live, bool apart, CLedger & ledger)
{
    if (zero.sampled.isOf(live))
        return;
    // Of another zero point other counts were taken off, which have to be had again.
    if (!zero.sampled.isKnown())
        sample.flat()->forgetSource();
    zero.sampled.forget();
    sample.compareAssign(live);
    std::span<std::uint16_t const> const order = sample.flat()->order();
    std::size_t const unchanged =
        sample.flat()->isCopyOf(live) ? order.size() - sample.flat()->followed() : 0;
    CLedger stillThere;
    for (std::size_t place = 0; place < order.size(); ++place) {
        unsigned int const rowId = order[place];
        auto * const baseRow = zero.row(rowId);
        if (!baseRow)
            continue;
        if (place < unchanged) {
            addZero<T>(stillThere, *baseRow);
            continue;
        }
        bool const isLive = live.getChildById(rowId) != nullptr;
        if (apart && !isLive)
            continue;
        auto & row = *sample.flat()->row(rowId);
        bool const same = CKeyBits<K>(baseRow->key) == CKeyBits<K>(row.rowKey()) &&
                          (!apart || live.birthOf(rowId) == baseRow->birth);
        if (!same) {
            baseRow->counted = false;
            continue;
        }
        reduceBy<T>(row, *baseRow);
        if (isLive)
            addZero<T>(stillThere, *baseRow);
    }

    ledger = live.ledger();
    // What stood before a reset says nothing about what came after it.
    if (zero.isOf(live)) {
        subtract(ledger, zero.ledger());
        add(ledger, stillThere);
    }
    if (sample.flat()->isCopyOf(live))
        zero.sampled.set(live);
}

// The same of the rows of a frame table, which are always there.
template <class Table>
void sampleFrameTable(Table & sample, Table const & base, Table const & live)
{
    auto const row = [](Table const & table, unsigned int index) {
        return static_cast<CFrameTypeOrSizeStat const *>(table.getChild(index));
    };
    for (unsigned int index = 0; auto * const target = const_cast<CFrameTypeOrSizeStat *>(row(sample, index));
         ++index) {
        auto const * const current = row(live, index);
        auto const * const start = row(base, index);
        if (!current || !start)
            break;
        subtract(target->frames, current->frames, start->frames);
        subtract(target->data, current->data, start->data);
    }
}

template <class T>
void CTableZero<T>::take(typename T::Container const & live)
{
    unsigned int last = 0;
    for (T const & row : live)
        last = std::max<unsigned int>(last, row.getId());
    std::vector<CRow> rows(last);
    CLedger all = live.ledger();
    for (T const & row : live) {
        CRow & base = rows[row.getId() - 1U];
        base.key = row.rowKey();
        base.birth = live.birthOf(row.getId());
        base.dataTransmitted = row.dataTransmitted;
        base.framesTransmitted = row.framesTransmitted;
        base.counted = base.framesTransmitted != 0;
        if constexpr (bothWays) {
            base.dataReceived = row.dataReceived;
            base.framesReceived = row.framesReceived;
            base.counted = base.counted || base.framesReceived != 0;
        }
        if (base.counted)
            addCounts(all, row);
    }
    sampled.forget();
    m_rows.swap(rows);
    m_ledger = all;
    m_resets = live.resets();
    m_taken = true;
}

template <class T>
void CTableZero<T>::clear()
{
    sampled.forget();
    m_rows = {};
    m_ledger = {};
    m_taken = false;
}

} // namespace KetStats
