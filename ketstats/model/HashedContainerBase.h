#pragma once

#include "ketstats/model/BaseStat.h"
#include "ketstats/model/Ledger.h"
#include "ketstats/model/SpareStorage.h"

#include <cstddef>

namespace KetStats {

// What every CHashedContainerStat has in common, whatever its rows: the update order and the row ids.
//
// A row with the id i sits at index i - 1 of the child list. The entries are linked from the oldest row to
// the newest:
//
//     oldest --> [ child, hashIndex, older, newer ] <--> [ ... ] <--> [ ... ] <-- newest
//
// 1. Row ids run from 1 to `limit`; 0 is no row. An id is stable while its row lives and is reused after it.
// While
//    rows are only added they take the indices 0, 1, 2 and so on; an index that a deletion gave up is taken
//    next.
// 2. `limit` also stands for "no index" in every field that holds one.
// 3. The last index belongs to a summary row, so a container without one holds at most `limit` - 1 rows.
// 4. Every row in the table is in the list, and every row in the list is in the table.
class KETSTATS_API CBaseHashedContainerStat : public CBaseStat
{
public:
    // Of containers that don't fit each other.
    class KETSTATS_TYPE CException : public ktools::CException
    {
    public:
        using ktools::CException::CException;
    };

    void resetChanged() override;
    void setChanged() override;
    // This container's own flag; the rows are asked too, and their answers don't alter it.
    bool checkChanged() const override;
    using CBaseStat::getChild;
    // The row at that index; null if the index is vacant or not below the number of rows.
    CBaseStat * getChild(unsigned int index) override;
    unsigned int getChildrenCount() const override { return size(); }
    CBaseStat * getStatPointer(COid const & oid, unsigned int position) override;
    int collate(CBaseStat const & other) const override;

    // The number of rows, and the most there can be, a summary row included.
    unsigned int size() const { return m_rowCount; }
    unsigned int getLimit() const { return limit; }
    bool isFull() const;
    // The index for a new row; `limit` if there is none. Only one given-up index is remembered, so each
    // deletion must be followed by an allocation before the next one.
    unsigned int getFreeIdx();

    // Ids in update order; 0 for none.
    unsigned int getOldestId() const { return idOf(oldest); }
    unsigned int getNewestId() const { return idOf(newest); }
    unsigned int getNextNewerId(unsigned int rowId) const;
    // The row of that id, null if there is none. Unlike getChild it reaches every id.
    CBaseStat * rowById(unsigned int rowId) const { return rowId == 0 ? nullptr : childAt(rowId - 1); }

    // What its rows had counted that this table gave up since it was last reset.
    CLedger const & ledger() const { return m_ledger; }

    // Kept for a host's own checks; nothing in the library reads it.
    void SetOrderTesting(bool on) { orderTesting = on; }

protected:
    struct CChildEntry
    {
        CBaseStat * child;      // null if the index is vacant
        unsigned int hashIndex; // the row's slot in the table
        unsigned int older;
        unsigned int newer;
    };

    CBaseHashedContainerStat(CBaseStat * theParent, unsigned short theId,
                             CDynamicArrayStatDescription const & theDescription, unsigned int theLimit);
    ~CBaseHashedContainerStat() = default;
    CBaseHashedContainerStat(CBaseHashedContainerStat const &) = delete;
    CBaseHashedContainerStat & operator=(CBaseHashedContainerStat const &) = delete;

    int doCompare(CBaseStat const & other) const override;

    // Containers that take over each other's rows have the same ids for them. Throws CException, code 2,
    // source "StatTypes", where the limits differ.
    void expectLimitOf(CBaseHashedContainerStat const & other) const
    {
        if (other.limit != limit)
            refuseLimit();
    }

    // Empties the list.
    void initlist();

    // The row at an index, null if it is vacant.
    CBaseStat * childAt(unsigned int index) const
    {
        return index < m_listed ? childList[index].child : nullptr;
    }
    unsigned int idOf(unsigned int index) const { return index == limit ? 0 : index + 1; }

    // Enters a row at an index that is vacant, as the newest.
    void enter(unsigned int index, unsigned int hashIndex, CBaseStat * row);
    // Takes the entry at an index out of the list; the index is vacant then.
    void removeChildFromList(unsigned int index);
    // Makes the row at that index the newest.
    void renewAt(unsigned int index)
    {
        if (index == newest)
            return;
        unlink(index);
        linkAsNewest(index);
    }

    void link(unsigned int olderIndex, unsigned int newerIndex);
    inline void unlink(unsigned int index);
    inline void linkAsNewest(unsigned int index);

    unsigned int limit;
    bool orderTesting = false;
    CBaseStat * summaryRow = nullptr;
    unsigned int freeIdx; // the index that the last deletion gave up
    unsigned int oldest;
    unsigned int newest;
    unsigned int m_rowCount = 0;       // rows in the table
    unsigned int m_listed = 0;         // entries from this index on are vacant and were never written
    CChildEntry * childList = nullptr; // within the table's storage
    CLedger m_ledger;
    CSpareStorage m_spareStorage; // of tables within rows of this one

    [[noreturn]] static void refuseLimit();

    // Where the storage of this container comes from: the container among whose rows its parent is, null if
    // there is none.
    static CSpareStorage * spareStorageFor(CBaseStat const * theParent);
};

inline void CBaseHashedContainerStat::link(unsigned int olderIndex, unsigned int newerIndex)
{
    (olderIndex == limit ? oldest : childList[olderIndex].newer) = newerIndex;
    (newerIndex == limit ? newest : childList[newerIndex].older) = olderIndex;
}

inline void CBaseHashedContainerStat::unlink(unsigned int index)
{
    link(childList[index].older, childList[index].newer);
}

inline void CBaseHashedContainerStat::linkAsNewest(unsigned int index)
{
    childList[index].newer = limit;
    link(newest, index);
    newest = index;
}

} // namespace KetStats
