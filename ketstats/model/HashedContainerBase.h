#pragma once

#include "ketstats/model/BaseStat.h"
#include "ketstats/model/Ledger.h"
#include "ketstats/model/RowIndex.h"

#include <cstdint>

namespace KetStats {

// What every CHashedContainerStat has in common, whatever its rows: the update order and the row ids.
//
//     oldest <--> ... <--> newest        linked by row id, see CRowLink
//
// 1. Row ids run from 1 to `limit`; 0 is no row. An id is stable while its row lives and is reused after it.
//    While rows are only added they take the ids 1, 2, 3 and so on; one that a deletion gave up is taken next.
// 2. The index of a row is its id less 1, and `limit` stands for no index.
// 3. The last id belongs to a summary row, so a container without one holds at most `limit` - 1 rows.
// 4. Memory is taken as rows come, and a container without rows has none. Rows never move.
// 5. Of rows that are given up the ledger keeps the counts: every row that leaves by eviction, by deletion or
//    for a summary row is in it. A transfer that gives a row's id to another key, an assignment and a reset
//    give nothing up: there the source's ledger tells, or the counting begins anew.
class KETSTATS_API CBaseHashedContainerStat : public CBaseStat
{
public:
    // Of containers that don't fit each other, or can't be.
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
    // How many rows it has memory for.
    unsigned int mostRows() const { return m_capacity; }
    bool isFull() const;
    // The index for a new row; `limit` if there is none. It is the one that the last deletion gave up, or else
    // the number of rows, whether or not a row stands there.
    unsigned int getFreeIdx();

    // Ids in update order; 0 for none.
    unsigned int getOldestId() const { return m_links[0].newer; }
    unsigned int getNewestId() const { return m_links[0].older; }
    unsigned int getNextNewerId(unsigned int rowId) const
    {
        return childOf(rowId) ? m_links[rowId].newer : 0U;
    }
    // The row of that id, null if there is none. Unlike getChild it reaches every id.
    CBaseStat * rowById(unsigned int rowId)
    {
        m_lent = true;
        return childOf(rowId);
    }
    CBaseStat const * rowById(unsigned int rowId) const { return childOf(rowId); }

    // What its rows had counted that this table gave up since it was last reset.
    CLedger const & ledger() const { return m_ledger; }
    // Keeps there what was counted for a row that couldn't be had.
    void addLost(CLedger const & counts);
    // How often the table was reset: rows, ids and ledger of different times have nothing in common.
    unsigned int resets() const { return m_resets; }

    // Goes up with everything that changes the rows, their order or the ledger. So nothing did between two looks that
    // found the same version of a table, unless somebody holds its rows and may have changed them in place. No other
    // table had these versions, so that they tell one from another that lies in its place.
    std::uint64_t version() const { return m_version; }
    bool isLent() const { return m_lent; }

    // How many of the newest rows may have changed since that version, at which nobody held rows: all others are as
    // they were, and stand before them in the same order.
    unsigned int touchedSince(std::uint64_t since) const;

    // Whether a copy takes a row that went and came back at its source for another one, whose own tables begin
    // anew. Off at first: rows that such a table had stay.
    void tellRowsApart(bool on) { m_tellsApart = on; }

    // Kept for a host's own checks; nothing in the library reads it.
    void SetOrderTesting(bool on) { orderTesting = on; }

protected:
    // Throws CException, code 2, source "StatTypes", for a limit that row ids can't reach.
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

    // The row of an id, null if there is none.
    CBaseStat * childOf(unsigned int rowId) const
    {
        return rowId != 0 && rowId <= m_capacity ? m_rows[rowId] : nullptr;
    }

    static std::uint64_t firstVersion();
    void touch() { ++m_version; }
    // For a row that changes and stays at its place in the order.
    void touchInPlace() { m_touchedInPlace = ++m_version; }

    // Makes the row of that id the newest.
    void renewId(unsigned int rowId)
    {
        if (rowId == m_links[0].older)
            return;
        unlink(rowId);
        linkAsNewest(rowId);
    }
    inline void unlink(unsigned int rowId);
    inline void linkAsNewest(unsigned int rowId);

    // The index for a new row that no row holds, which is that of getFreeIdx wherever it can be. `limit` if
    // there is none. It stays free until a row is entered there.
    unsigned int vacantIndex() const;

    static constexpr unsigned int smallestLimit = 2;
    static constexpr unsigned int largestLimit = 65535; // row ids have 16 bits

    unsigned int limit;
    unsigned int freeIdx;        // the index that the last deletion gave up
    unsigned int m_rowCount = 0; // rows in the table
    unsigned int m_capacity = 0; // greatest id that there is room for
    CBaseStat ** m_rows = nullptr;
    CRowLink * m_links = noLinks();
    CBaseStat * summaryRow = nullptr;
    CLedger m_ledger;
    std::uint64_t m_births = 0; // rows that the table ever had
    std::uint64_t m_version;
    std::uint64_t m_touchedInPlace = 0; // the last version that began so
    std::uint64_t m_versionEmpty;       // in which it was as it was built
    unsigned int m_resets = 0;
    bool orderTesting = false;
    bool m_lastApart = false; // the row of the last id stands apart; see CHashedContainerStat
    bool m_tellsApart = false;
    bool m_flagless = false; // see layFlat
    bool m_lent = false;     // somebody may have changed a row in place, its key too

private:
    // The update order of a table without memory, which nobody writes.
    static CRowLink * noLinks();
    [[noreturn]] static void refuseLimit();
};

inline void CBaseHashedContainerStat::unlink(unsigned int rowId)
{
    CRowLink const neighbours = m_links[rowId];
    m_links[neighbours.older].newer = neighbours.newer;
    m_links[neighbours.newer].older = neighbours.older;
}

inline void CBaseHashedContainerStat::linkAsNewest(unsigned int rowId)
{
    std::uint16_t const second = m_links[0].older;
    m_links[rowId] = {second, 0, static_cast<std::uint32_t>(m_version)};
    m_links[second].newer = static_cast<std::uint16_t>(rowId);
    // It may have been renewed ever since it came there, up to the version before.
    m_links[second].touched = static_cast<std::uint32_t>(m_version - 1);
    m_links[0].older = static_cast<std::uint16_t>(rowId);
}

} // namespace KetStats
