#pragma once

#include "ketstats/model/HashTable.h"
#include "ketstats/model/HashedContainerBase.h"

namespace KetStats {

class CARPStat;

// The group whose children appear at run time: the rows that the traffic shows, at most `limit` of them. A
// table finds a row by its key and holds it; a list keeps the update order, and a full container replaces its
// oldest row. The order is that of the last renew: whoever doesn't renew keeps the order of creation.
//
// Packed form, rows oldest first, with no count in front:
//
//     { row id (2, never 0)  key (as it lies)  row (as a group packs itself) }  0 (2)
//
// Rows follow each other from tree to tree by id first and by key second. There is no message for a deletion:
// a row that vanished is replaced when its id is given to another key, or stays. The order of the source is
// carried by the order of the rows, each of which becomes the receiver's newest in turn.
//
// T is a static container built with (parent, id, key), K its key of plain bytes, which `T::rowKey()` yields
// and `T::takeKey()` stores. Definitions stand in HashedContainerStatImpl.h, for whoever instantiates the
// template.
template <class T, class K, class H>
class KETSTATS_TEMPLATE CHashedContainerStat : public CBaseHashedContainerStat
{
public:
    // Called before a row goes away: eviction gives the row's index, transfer gives its id.
    using DeleteHandler = void (*)(CHashedContainerStat * container, unsigned int number);
    using DumpOrderHandler = void (*)(CHashedContainerStat const * container, int phase, bool flag, T * row);

    // Takes all storage of the container. A limit below 2 leaves no room for a row.
    CHashedContainerStat(CBaseStat * theParent, unsigned short theId,
                         CDynamicArrayStatDescription const & theDescription, unsigned int theLimit);

    // The row of that key, made if it is absent, at the cost of the oldest row if there is no other room.
    // Null only if there can't be any row. The update order stays: renewing is the caller's decision.
    T * operator[](K const & key)
    {
        unsigned int const slot = table.findUsed(key);
        return slot != table.none ? &table[slot] : create(key);
    }
    // operator[] and renew in one.
    T * renewed(K const & key)
    {
        unsigned int const slot = table.findUsed(key);
        if (slot == table.none)
            return create(key);
        renewAt(table.indexOf(slot));
        return &table[slot];
    }
    // The row of that key, null if it is absent.
    T const * find(K const & key) const
    {
        unsigned int const slot = table.findUsed(key);
        return slot != table.none ? &table[slot] : nullptr;
    }

    // For ARP rows: the row of that key as it is, or a new one with that address. Null if there is no room:
    // this never deletes a row.
    template <class Row = T>
    requires std::is_same_v<Row, CARPStat> Row * createIfNew(K const & key, CMACAddrPacked const & address)
    {
        return createBinding(key, address);
    }
    template <class Row = T>
    requires std::is_same_v<Row, CARPStat> Row * createIfNew(K const & key, CMACAddr const & address)
    {
        return createBinding(key, CMACAddrPacked(address));
    }

    // Makes the summary row, with the id `limit`, as the newest. Whoever uses one keeps it away from the old
    // end with renew, for it can be deleted like any row. A row that has the key already becomes the summary
    // row, under that id, and a row that has that id goes.
    T * createSummaryStat(K key);
    T * getSummaryStat() { return static_cast<T *>(summaryRow); }
    T const * getSummaryStat() const { return static_cast<T const *>(summaryRow); }

    // Deletes the oldest row, if there is one.
    void deleteOldest();
    // Makes the row the newest.
    void renew(T * row) { renewAt(row->getId() - 1U); }

    T * getOldest() { return static_cast<T *>(childAt(oldest)); }
    T * getNewest() { return static_cast<T *>(childAt(newest)); }
    T * getChildById(unsigned int rowId) { return static_cast<T *>(rowById(rowId)); }

    void registerDeleteHandler(DeleteHandler handler) { deleteHandler = handler; }
    void registerDumpOrderHandler(DumpOrderHandler handler) { dumpOrderHandler = handler; }

    // Checks that no index below the last row's is vacant while rows are only added and replaced. A finding
    // is dumped to the handler and stops in the debugger; the result is always true.
    bool TestOrder(CHashedContainerStat const * other) const;

protected:
    void doUnpackValue(ktools::CMemoryBuffer & buffer) override;
    void doPackValue(ktools::CMemoryBuffer & buffer, bool onlyChanged) override;
    void doAssign(CBaseStat const & other) override;
    void doReset() override;
    bool doCompareAssign(CBaseStat const & other) override;

    // Enters a new row in the list as the newest, and yields its index. A row that holds the index goes.
    unsigned int createdNewChild(unsigned int hashIndex, T * row);
    void onDelete(unsigned int number)
    {
        if (deleteHandler)
            deleteHandler(this, number);
    }

private:
    T * create(K const & key);
    T * createBinding(K const & key, CMACAddrPacked const & address);
    void removeRow(unsigned int index);
    struct CMatch
    {
        T * row;    // null if there can't be one
        bool isNew; // it was made, or moved to this id
    };
    CMatch rowFor(unsigned int rowId, K const & key);
    void DumpOrder(bool flag) const;

    CHashTable<T, K, H> table;
    DeleteHandler deleteHandler = nullptr;
    DumpOrderHandler dumpOrderHandler = nullptr;
};

} // namespace KetStats
