#pragma once

#include "ketstats/model/HashedContainerBase.h"
#include "ketstats/model/RowStore.h"

#include <cstddef>
#include <iterator>
#include <type_traits>

namespace KetStats {

template <class T>
class CFlatRows;

// What a table keeps of the tables within its rows once such a row is given up: nothing, unless the row class
// names a type for it and has `void giveUpTables(GivenUpTables &) const`.
template <class T>
struct CGivenUpTables
{
    struct Type
    {};
};
template <class T>
requires requires
{
    typename T::GivenUpTables;
}
struct CGivenUpTables<T>
{
    using Type = typename T::GivenUpTables;
};

// The group whose children appear at run time: the rows that the traffic shows, at most `limit` of them. An
// index finds a row by its key, and a full container replaces its oldest row. The order is that of the last
// renew: whoever doesn't renew keeps the order of creation.
//
// Packed form, rows oldest first, with no count in front:
//
//     { row id (2, never 0)  key (as it lies)  row (as a group packs itself) }  0 (2)
//
// Rows follow each other from tree to tree by id first and by key second. There is no message for a deletion:
// a row that vanished is replaced when its id is given to another key, or stays. The order of the source is
// carried by the order of the rows, each of which becomes the receiver's newest in turn.
//
// A summary row stands apart: it has the id `limit` and a key to be shown, and no lookup that counts leads to
// it, so that a row of the traffic with the same key is another row. Where T has `isOthers(key)`, a row of
// such a key under that id is somebody's summary row, and stands apart wherever it is copied or sent to.
//
// T is a static container built with (parent, id, key), K its key of plain bytes, which `T::rowKey()` yields
// and `T::takeKey()` stores, and H the hasher of a CHashTable of such rows. Definitions stand in
// HashedContainerStatImpl.h, for whoever instantiates the template.
template <class T, class K, class H>
class KETSTATS_TEMPLATE CHashedContainerStat : public CBaseHashedContainerStat
{
public:
    // Called before a row goes away: eviction gives the row's index, transfer gives its id. It may do anything
    // to the container. What goes then is the row that is the oldest, or has that id, when it returns.
    using DeleteHandler = void (*)(CHashedContainerStat * container, unsigned int number);
    using DumpOrderHandler = void (*)(CHashedContainerStat const * container, int phase, bool flag, T * row);

    using FlatRows = CFlatRows<T>;

    // Whether rows are made of a key and the MAC address that it is bound to.
    template <class Row>
    static constexpr bool isBinding =
        std::is_constructible_v<Row, CBaseStat *, unsigned short, K, CMACAddrPacked>;

    // A limit below 2 leaves no room for a row.
    CHashedContainerStat(CBaseStat * theParent, unsigned short theId,
                         CDynamicArrayStatDescription const & theDescription, unsigned int theLimit);
    ~CHashedContainerStat();

    // The row of that key, made if it is absent, at the cost of the oldest row if there is no other room.
    // Null only if there can't be any row. The update order stays: renewing is the caller's decision. Throws
    // std::bad_alloc with nothing changed if there is no memory for one row more.
    T * operator[](K const & key)
    {
        unsigned int const rowId = m_index.find(CKeyBits<K>(key));
        m_lent = true;
        return rowId != 0 ? child(rowId) : create(key);
    }
    // operator[] and renew in one, for whoever counts and leaves the key alone.
    T * renewed(K const & key)
    {
        unsigned int const rowId = m_index.find(CKeyBits<K>(key));
        touch();
        m_lent = true;
        if (rowId == 0)
            return create(key);
        renewId(rowId);
        return child(rowId);
    }
    // The same two for whoever must go on counting: where there is no memory for one row more, the oldest row
    // makes way for it, as in a full table. Null only if there is none; then addLost keeps the counts.
    // The row is to be counted in at once: what is done to it once the table was sampled isn't seen.
    T * counted(CKeyBits<K> const & key)
    {
        unsigned int const rowId = m_index.find(key);
        touchInPlace();
        if (rowId == 0) [[unlikely]]
            return createInNeed(key.key());
        return static_cast<T *>(m_rows[rowId]);
    }
    T * countedRenewed(CKeyBits<K> const & key)
    {
        unsigned int const rowId = m_index.find(key);
        touch();
        if (rowId == 0) [[unlikely]]
            return createInNeed(key.key());
        renewId(rowId);
        return static_cast<T *>(m_rows[rowId]);
    }
    T * counted(K const & key) { return counted(CKeyBits<K>(key)); }
    T * countedRenewed(K const & key) { return countedRenewed(CKeyBits<K>(key)); }
    // The row that shows that key, null if there is none. A row that was changed in place is found by its new
    // key, at the cost of a look at all rows for a key that is absent. The form of a const table changes
    // nothing, so that many threads can ask a table that is held still.
    T * find(K const & key)
    {
        m_lent = true;
        return seek(key);
    }
    T const * find(K const & key) const;

    // For rows that bind an address: the row of that key as it is, or a new one with that address. Null if there is no room:
    // this never deletes a row.
    template <class Row = T>
    requires isBinding<Row> Row * createIfNew(K const & key, CMACAddrPacked const & address)
    {
        m_lent = true;
        return createBinding(key, address);
    }
    template <class Row = T>
    requires isBinding<Row> Row * createIfNew(K const & key, CMACAddr const & address)
    {
        m_lent = true;
        return createBinding(key, CMACAddrPacked(address));
    }
    // The same for whoever only looks at it: null if there is no room.
    template <class Row = T>
    requires isBinding<Row> Row const * bound(K const & key, CMACAddrPacked const & address)
    {
        return createBinding(key, address);
    }
    // The same for whoever only wants it to be there. False if there is no room.
    template <class Row = T>
    requires isBinding<Row>
    bool learn(K const & key, CMACAddrPacked const & address)
    {
        return createBinding(key, address) != nullptr;
    }

    // Makes the summary row, with the id `limit`, as the newest. Whoever uses one keeps it away from the old
    // end with renew, for it can be deleted like any row. A row that has that id already becomes the summary
    // row if it has the key, and is given up otherwise.
    T * createSummaryStat(K key);
    T * getSummaryStat()
    {
        m_lent = true;
        return static_cast<T *>(summaryRow);
    }
    T const * getSummaryStat() const { return static_cast<T const *>(summaryRow); }

    // Deletes the oldest row, if there is one.
    void deleteOldest();
    // Makes the row the newest.
    void renew(T * row)
    {
        touch();
        renewId(row->getId());
    }

    T * getOldest() { return getChildById(getOldestId()); }
    T const * getOldest() const { return child(getOldestId()); }
    T * getNewest() { return getChildById(getNewestId()); }
    T const * getNewest() const { return child(getNewestId()); }
    // The row of an id, null if there is none.
    T * getChildById(unsigned int rowId)
    {
        m_lent = true;
        return child(rowId);
    }
    T const * getChildById(unsigned int rowId) const { return child(rowId); }

    // Rows from the oldest to the newest. A row may be renewed or deleted once the walk has left it.
    template <class Row>
    class CWalk
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using difference_type = std::ptrdiff_t;
        using value_type = Row;
        using pointer = Row *;
        using reference = Row &;

        CWalk() = default;
        CWalk(CHashedContainerStat const * container, unsigned int rowId)
            : m_container(container),
              m_rowId(rowId)
        {}

        Row & operator*() const { return *m_container->child(m_rowId); }
        Row * operator->() const { return m_container->child(m_rowId); }
        CWalk & operator++()
        {
            m_rowId = m_container->m_links[m_rowId].newer;
            return *this;
        }
        CWalk operator++(int)
        {
            CWalk const before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(CWalk const &, CWalk const &) = default;

    private:
        CHashedContainerStat const * m_container = nullptr;
        unsigned int m_rowId = 0;
    };
    CWalk<T> begin()
    {
        m_lent = true;
        return {this, getOldestId()};
    }
    CWalk<T> end() { return {this, 0}; }
    CWalk<T const> begin() const { return {this, getOldestId()}; }
    CWalk<T const> end() const { return {this, 0}; }

    // The number of a row among all that its table ever had, 0 for no row. A row that went and came back has
    // another one. A copy's rows have the numbers of their originals.
    unsigned long long birthOf(unsigned int rowId) const
    {
        return childOf(rowId) ? m_index.birthOf(rowId) : 0;
    }

    // For a table within a row that is made another one: as it was when it was built, but for its memory.
    void makeEmpty();

    // What was kept of the tables within the rows that this table gave up: their rows and their ledgers.
    typename CGivenUpTables<T>::Type const & givenUpTables() const { return m_givenUpTables; }
    // For what would have been counted in the tables of a row that couldn't be had.
    typename CGivenUpTables<T>::Type & lostTables()
    {
        touch();
        return m_givenUpTables;
    }

    // What a table of that limit takes at most, beside itself and what its rows take on their own.
    static constexpr std::size_t largestMemory(unsigned int theLimit)
    {
        return CRowIndex<K>::largestBytes(theLimit) + CRowStore<T>::largestBytes(std::size_t{theLimit} + 1);
    }

    // For the trees of snapshots. A table without rows that lies flat holds what it copies as CFlatRows, and has
    // no row to show: assign, compareAssign and reset it, pack it, use it as their source, and nothing else.
    // unfold() gives it the rows as nodes, for good. `flagless` if nobody will ask which of its rows changed.
    void layFlat(bool flagless = false);
    void unfold();
    FlatRows * flat() { return m_flat; }
    FlatRows const * flat() const { return m_flat; }
    // What unfold, assign and compareAssign do, from flat rows and of a table that doesn't lie flat itself.
    void unfoldFrom(FlatRows const & rows);
    void take(FlatRows const & rows);
    bool follow(FlatRows const & rows);

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

    void onDelete(unsigned int number)
    {
        if (deleteHandler)
            deleteHandler(this, number);
    }

private:
    friend class CFlatRows<T>;

    struct CMatch
    {
        T * row;
        bool isNew; // it was made, or moved to this id
    };

    T * child(unsigned int rowId) const { return static_cast<T *>(childOf(rowId)); }
    static bool shows(T const & row, K const & key) { return CKeyBits<K>(row.rowKey()) == CKeyBits<K>(key); }
    static bool isOthers(K const & key)
    {
        if constexpr (requires { T::isOthers(key); })
            return T::isOthers(key);
        else
            return false;
    }
    bool isApart(unsigned int rowId) const { return rowId == limit && m_lastApart; }

    T * seek(K const & key);
    unsigned int filedUnder(K const & key);
    bool fileAnew();
    T * create(K const & key);
    T * createInNeed(K const & key);
    T * createBinding(K const & key, CMACAddrPacked const & address);
    void makeRoom(unsigned int rowId);
    template <class... Arguments>
    T * build(unsigned int rowId, K const & key, Arguments const &... arguments);
    void enter(T * row, K const & key, bool apart);
    void moveRow(unsigned int from, unsigned int to);
    void giveUp(unsigned int rowId);
    void keepCounts(T const & row);
    void removeRow(unsigned int rowId);
    // The row's places in index and order, which a row that stays there leaves and takes again.
    void takeOut(unsigned int rowId);
    void bringIn(unsigned int rowId, K const & key, bool apart);

    // A row that is made again keeps tables for so many rows, which are soon filled again.
    static constexpr unsigned int mostRowsKept = 15;
    T * reuseOldest(K const & key);
    static bool isLight(T const & row);
    static void makeNew(T & row, K const & key);
    static void prefetchRow(T const * row);
    void destroyRows();
    CMatch rowFor(unsigned int rowId, K const & key, bool apart);
    CMatch copyOf(unsigned int rowId, K const & key, bool apart, std::uint64_t birth, std::uint64_t births);
    template <class Source>
    void takeRows(Source const & theirs);
    template <class Source>
    void followRows(Source const & theirs);
    void DumpOrder(bool flag) const;

    CRowIndex<K> m_index;
    CRowStore<T> m_store;
    FlatRows * m_flat = nullptr; // owned
    DeleteHandler deleteHandler = nullptr;
    DumpOrderHandler dumpOrderHandler = nullptr;
    [[no_unique_address]] typename CGivenUpTables<T>::Type m_givenUpTables{};
};

} // namespace KetStats
