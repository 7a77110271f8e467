#pragma once

#include "ketstats/model/HashedContainerStat.h"
#include "ketstats/platform/DebugBreak.h"

#include <cstddef>

namespace KetStats {

// Where a stream that doesn't fit is refused.
constexpr int badRowId = 1204;  // an id above the limit, or one that no row can take
constexpr int badRowKey = 1211; // a row that shows another key than its own

template <class T, class K, class H>
CHashedContainerStat<T, K, H>::CHashedContainerStat(CBaseStat * theParent, unsigned short theId,
                                                    CDynamicArrayStatDescription const & theDescription,
                                                    unsigned int theLimit)
    : CBaseHashedContainerStat(theParent, theId, theDescription, theLimit),
      // A new row is built before one that stands in its place is taken away.
      table(theLimit, theLimit + 1, sizeof(CChildEntry) * theLimit, spareStorageFor(theParent))
{
    childList = static_cast<CChildEntry *>(table.extra());
}

// What follows is for keys that are new, and out of the way of the others.
template <class T, class K, class H>
T * CHashedContainerStat<T, K, H>::create(K const & key)
{
    unsigned int slot = table.find(key);
    if (slot == table.maxSize())
        return nullptr;
    unsigned int index = getFreeIdx();
    if (index == limit) {
        deleteOldest();
        if (!isFull())
            index = getFreeIdx();
        if (index == limit)
            return nullptr;
        // Deleting only turns a used slot into a deleted one, so the slot is still good, unless a handler
        // made a row of its own there.
        if (!table.isEmpty(slot)) {
            slot = table.find(key);
            if (slot == table.maxSize() || !table.isEmpty(slot)) {
                freeIdx = index;
                return slot == table.maxSize() ? nullptr : &table[slot];
            }
        }
    }
    T * const row = table.alloc(slot, this, static_cast<unsigned short>(index + 1), key);
    createdNewChild(slot, row);
    return row;
}

template <class T, class K, class H>
T * CHashedContainerStat<T, K, H>::createBinding(K const & key, CMACAddrPacked const & address)
{
    unsigned int const slot = table.find(key);
    if (slot == table.maxSize())
        return nullptr;
    if (!table.isEmpty(slot))
        return &table[slot];
    unsigned int const index = getFreeIdx();
    if (index == limit)
        return nullptr;
    T * row = nullptr;
    if constexpr (std::is_constructible_v<T, CBaseStat *, unsigned short, K, CMACAddrPacked>)
        row = table.alloc(slot, this, static_cast<unsigned short>(index + 1), key, address);
    if (row)
        createdNewChild(slot, row);
    return row;
}

template <class T, class K, class H>
T * CHashedContainerStat<T, K, H>::createSummaryStat(K key)
{
    if (limit < 2)
        return nullptr;
    if (T * const occupant = static_cast<T *>(childAt(limit - 1));
        occupant && !table.keyCompare(*occupant, key))
        removeRow(limit - 1);
    T * const row = rowFor(limit, key).row;
    summaryRow = row;
    return row;
}

template <class T, class K, class H>
unsigned int CHashedContainerStat<T, K, H>::createdNewChild(unsigned int hashIndex, T * row)
{
    unsigned int const index = row->getId() - 1U;
    if (childAt(index))
        removeRow(index);
    enter(index, hashIndex, row);
    ++m_rowCount;
    return index;
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::removeRow(unsigned int index)
{
    if (childList[index].child == summaryRow)
        summaryRow = nullptr;
    table.free(childList[index].hashIndex);
    removeChildFromList(index);
    --m_rowCount;
}

// The summary row has no exemption.
template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::deleteOldest()
{
    if (oldest == limit)
        return;
    unsigned int const index = oldest;
    onDelete(index);
    // The handler may have emptied the container.
    if (!childAt(index))
        return;
    freeIdx = index;
    removeRow(index);
}

template <class T, class K, class H>
bool CHashedContainerStat<T, K, H>::TestOrder(CHashedContainerStat const * /*other*/) const
{
    for (unsigned int index = 0; index + 1 < m_rowCount; ++index)
        if (!childAt(index)) {
            DumpOrder(false);
            platform::debugBreak();
        }
    return true;
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::DumpOrder(bool flag) const
{
    if (!dumpOrderHandler)
        return;
    dumpOrderHandler(this, 0, flag, nullptr);
    for (unsigned int index = oldest; index != limit; index = childList[index].newer)
        dumpOrderHandler(this, 1, flag, static_cast<T *>(childList[index].child));
    dumpOrderHandler(this, 2, flag, nullptr);
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::doReset()
{
    table.destroyElements();
    initlist();
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::doPackValue(ktools::CMemoryBuffer & buffer, bool onlyChanged)
{
    for (unsigned int index = oldest; index != limit; index = childList[index].newer) {
        T & row = static_cast<T &>(*childList[index].child);
        if (onlyChanged && !row.isChanged())
            continue;
        auto const rowId = static_cast<unsigned short>(row.getId());
        buffer.Write(&rowId, sizeof rowId);
        // The receiver may not know the row, or know the id as another key's.
        table.getKey(row).packValue(buffer);
        row.packValue(buffer, onlyChanged);
    }
    unsigned short const endMark = 0;
    buffer.Write(&endMark, sizeof endMark);
    if (onlyChanged)
        changed = false;
}

// The row that stands for `key` under `rowId` from now on. A row of another key under that id is dead; a row
// of that key under another id has moved, with its values.
template <class T, class K, class H>
typename CHashedContainerStat<T, K, H>::CMatch CHashedContainerStat<T, K, H>::rowFor(unsigned int rowId,
                                                                                     K const & key)
{
    unsigned int const index = rowId - 1;
    if (T * const known = static_cast<T *>(childAt(index))) {
        if (table.keyCompare(*known, key))
            return {known, false};
        onDelete(rowId);
        // The handler may have moved the row away.
        if (childAt(index))
            removeRow(index);
    }
    unsigned int const slot = table.find(key);
    if (slot == table.maxSize())
        return {nullptr, false};
    if (table.isEmpty(slot)) {
        T * const row = table.alloc(slot, this, static_cast<unsigned short>(rowId), key);
        createdNewChild(slot, row);
        return {row, true};
    }
    T & moved = table[slot];
    removeChildFromList(moved.getId() - 1U);
    moved.resetId(static_cast<unsigned short>(rowId));
    table.setIndex(slot, index);
    enter(index, slot, &moved);
    moved.setChanged();
    return {&moved, true};
}

// A row is found by the key that it was filed under, so it must go on showing that key, also when a damaged
// stream brings another one in the row's own columns, or ends there.
template <class T, class K>
class CKeyKeeper
{
public:
    CKeyKeeper(T & row, K const & key) : m_row(row), m_key(key) {}
    ~CKeyKeeper()
    {
        if (!m_kept)
            m_row.takeKey(m_key);
    }
    CKeyKeeper(CKeyKeeper const &) = delete;
    CKeyKeeper & operator=(CKeyKeeper const &) = delete;

    // Whether a row that was read whole still shows its key.
    bool kept()
    {
        m_kept = CKeyBits<K>(m_row.rowKey()) == CKeyBits<K>(m_key);
        return m_kept;
    }

private:
    T & m_row;
    K const & m_key;
    bool m_kept = false;
};

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::doUnpackValue(ktools::CMemoryBuffer & buffer)
{
    auto const refuse = [](int line) {
        ktools::raise<ktools::CMemoryBuffer::CException>(2, "StatTypes", line);
    };
    for (;;) {
        unsigned short rowId = 0;
        buffer.Read(&rowId, sizeof rowId);
        if (rowId == 0)
            break;
        if (rowId > limit)
            refuse(badRowId);
        K key{};
        key.unpackValue(buffer);
        T * const row = rowFor(rowId, key).row;
        if (!row)
            refuse(badRowId);
        CKeyKeeper<T, K> keeper(*row, key);
        row->unpackValue(buffer);
        if (!keeper.kept())
            refuse(badRowKey);
        renew(row);
    }
    changed = true;
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::doAssign(CBaseStat const & other)
{
    auto const & theirs = static_cast<CHashedContainerStat const &>(other);
    expectLimitOf(theirs);
    doReset();
    for (unsigned int index = theirs.oldest; index != theirs.limit; index = theirs.childList[index].newer) {
        T const & source = static_cast<T const &>(*theirs.childList[index].child);
        if (T * const row = rowFor(source.getId(), table.getKey(source)).row)
            row->assign(source);
    }
    changed = true;
}

// Once a row is new or differs, every row behind it is flagged, and fully: rows go out oldest first and each
// row read becomes the receiver's newest, so all rows newer than a changed one must follow it.
template <class T, class K, class H>
bool CHashedContainerStat<T, K, H>::doCompareAssign(CBaseStat const & other)
{
    auto const & theirs = static_cast<CHashedContainerStat const &>(other);
    expectLimitOf(theirs);
    bool following = false;
    for (unsigned int index = theirs.oldest; index != theirs.limit; index = theirs.childList[index].newer) {
        T const & source = static_cast<T const &>(*theirs.childList[index].child);
        auto const [row, isNew] = rowFor(source.getId(), table.getKey(source));
        if (!row)
            continue;
        following = following || isNew;
        if (row->compareAssign(source)) {
            changed = true;
            following = true;
        } else if (following) {
            row->setChanged();
            changed = true;
        }
        renew(row);
    }
    return changed;
}

} // namespace KetStats
