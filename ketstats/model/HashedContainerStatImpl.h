#pragma once

#include "ketstats/model/FlatRowsImpl.h"
#include "ketstats/model/HashedContainerStat.h"
#include "ketstats/model/RowCounts.h"
#include "ketstats/platform/DebugBreak.h"
#include "ketstats/platform/Prefetch.h"

namespace KetStats {

// Where a stream that doesn't fit is refused.
constexpr int badRowId = 1204;  // an id above the limit, or one that no row can take
constexpr int badRowKey = 1211; // a row that shows another key than its own

template <class T, class K, class H>
CHashedContainerStat<T, K, H>::CHashedContainerStat(CBaseStat * theParent, unsigned short theId,
                                                    CDynamicArrayStatDescription const & theDescription,
                                                    unsigned int theLimit)
    : CBaseHashedContainerStat(theParent, theId, theDescription, theLimit)
{}

template <class T, class K, class H>
CHashedContainerStat<T, K, H>::~CHashedContainerStat()
{
    destroyRows();
    delete m_flat;
}

// ---- rows by key ----

template <class T, class K, class H>
T * CHashedContainerStat<T, K, H>::seek(K const & key)
{
    unsigned int rowId = filedUnder(key);
    if (rowId == 0 && m_lent && fileAnew())
        rowId = filedUnder(key);
    if (rowId != 0)
        return child(rowId);
    T * const last = isApart(limit) ? child(limit) : nullptr;
    return last && shows(*last, key) ? last : nullptr;
}

template <class T, class K, class H>
T const * CHashedContainerStat<T, K, H>::find(K const & key) const
{
    unsigned int const filed = m_index.find(CKeyBits<K>(key));
    T const * const found = child(filed);
    if (found && shows(*found, key))
        return found;
    if (filed != 0 || m_lent)
        for (T const & row : *this)
            if (shows(row, key) && !isApart(row.getId()))
                return &row;
    T const * const last = isApart(limit) ? child(limit) : nullptr;
    return last && shows(*last, key) ? last : nullptr;
}

// The row that is filed under the key and shows it too.
template <class T, class K, class H>
unsigned int CHashedContainerStat<T, K, H>::filedUnder(K const & key)
{
    unsigned int const rowId = m_index.find(CKeyBits<K>(key));
    if (rowId == 0 || shows(*child(rowId), key))
        return rowId;
    fileAnew();
    return m_index.find(CKeyBits<K>(key));
}

// Files the rows whose keys were changed in place under those that they show; tells whether there were any.
template <class T, class K, class H>
bool CHashedContainerStat<T, K, H>::fileAnew()
{
    bool found = false;
    for (unsigned int rowId = getOldestId(); rowId != 0; rowId = m_links[rowId].newer) {
        CKeyBits<K> const shown(child(rowId)->rowKey());
        if (isApart(rowId) || m_index.keyOf(rowId) == shown)
            continue;
        m_index.unfile(rowId);
        m_index.file(rowId, shown);
        found = true;
    }
    return found;
}

// What follows is for keys that are new, and out of the way of the others.
template <class T, class K, class H>
T * CHashedContainerStat<T, K, H>::create(K const & key)
{
    unsigned int index = vacantIndex();
    if (index == limit) {
        if (T * const row = reuseOldest(key))
            return row;
        deleteOldest();
        // The handler may have made the row.
        if (unsigned int const rowId = m_index.find(CKeyBits<K>(key)))
            return child(rowId);
        index = vacantIndex();
        if (index == limit)
            return nullptr;
    }
    T * const row = build(index + 1, key);
    enter(row, key, false);
    return row;
}

// A row that makes way leaves its place and its id to the new one, which so needs no memory.
template <class T, class K, class H>
T * CHashedContainerStat<T, K, H>::createInNeed(K const & key)
{
    try {
        return create(key);
    } catch (std::bad_alloc const &) {
        if (m_rowCount == 0)
            return nullptr;
        deleteOldest();
        return create(key);
    }
}

template <class T, class K, class H>
T * CHashedContainerStat<T, K, H>::createBinding(K const & key, CMACAddrPacked const & address)
{
    if (unsigned int const rowId = m_index.find(CKeyBits<K>(key)))
        return child(rowId);
    unsigned int const index = vacantIndex();
    if (index == limit)
        return nullptr;
    T * row = nullptr;
    if constexpr (std::is_constructible_v<T, CBaseStat *, unsigned short, K, CMACAddrPacked>) {
        row = build(index + 1, key, address);
        enter(row, key, false);
    }
    return row;
}

template <class T, class K, class H>
T * CHashedContainerStat<T, K, H>::createSummaryStat(K key)
{
    if (limit < smallestLimit)
        return nullptr;
    T * row = child(limit);
    if (!row || !shows(*row, key)) {
        row = build(limit, key);
        enter(row, key, true);
    } else if (!m_lastApart) {
        m_index.unfile(limit);
        m_lastApart = true;
    }
    summaryRow = row;
    m_lent = true;
    return row;
}

// ---- rows that come, move and go ----

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::makeRoom(unsigned int rowId)
{
    if (rowId <= m_capacity)
        return;
    m_index.grow(rowId, limit, m_rows, m_links);
    m_capacity = m_index.capacity();
}

// A row that is nowhere entered yet. Takes all the memory that entering it needs, so that nothing has changed
// where that fails. It can stand beside the row that it displaces.
template <class T, class K, class H>
template <class... Arguments>
T * CHashedContainerStat<T, K, H>::build(unsigned int rowId, K const & key, Arguments const &... arguments)
{
    makeRoom(rowId);
    void * const place = m_store.take(limit + 1);
    try {
        return new (place) T(this, static_cast<unsigned short>(rowId), key, arguments...);
    } catch (...) {
        m_store.give(place);
        throw;
    }
}

// Enters a new row as the newest. A row that has its id is given up.
template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::enter(T * row, K const & key, bool apart)
{
    unsigned int const rowId = row->getId();
    touch();
    if (childOf(rowId))
        giveUp(rowId);
    m_rows[rowId] = row;
    bringIn(rowId, key, apart);
    ++m_rowCount;
    if (freeIdx == rowId - 1)
        freeIdx = limit;
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::bringIn(unsigned int rowId, K const & key, bool apart)
{
    m_index.setBirth(rowId, ++m_births);
    if (rowId == limit)
        m_lastApart = apart;
    if (!apart)
        m_index.file(rowId, CKeyBits<K>(key));
    linkAsNewest(rowId);
}

// Gives a row that is filed another id, one that is vacant, as the newest.
template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::moveRow(unsigned int from, unsigned int to)
{
    makeRoom(to);
    touch();
    T * const row = child(from);
    CKeyBits<K> const key = m_index.keyOf(from);
    m_index.unfile(from);
    unlink(from);
    m_rows[from] = nullptr;
    row->resetId(static_cast<unsigned short>(to));
    m_rows[to] = row;
    m_index.setBirth(to, m_index.birthOf(from));
    m_index.file(to, key);
    linkAsNewest(to);
    if (to == limit)
        m_lastApart = false;
    if (freeIdx == to - 1)
        freeIdx = limit;
}

// Removes a row and keeps what it had counted.
template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::giveUp(unsigned int rowId)
{
    keepCounts(*child(rowId));
    removeRow(rowId);
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::keepCounts(T const & row)
{
    ++m_ledger.rows;
    addCounts(m_ledger, row);
    if constexpr (requires { row.giveUpTables(m_givenUpTables); })
        row.giveUpTables(m_givenUpTables);
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::removeRow(unsigned int rowId)
{
    T * const row = child(rowId);
    takeOut(rowId);
    m_rows[rowId] = nullptr;
    --m_rowCount;
    row->T::~T();
    m_store.give(row);
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::takeOut(unsigned int rowId)
{
    touch();
    if (child(rowId) == summaryRow)
        summaryRow = nullptr;
    if (!isApart(rowId))
        m_index.unfile(rowId);
    unlink(rowId);
}

// Makes the oldest row that of another key: what giving it up and building the other one in its place comes to, at
// a fraction of the cost. Null where there is somebody to notice, or where the row has taken much memory.
template <class T, class K, class H>
T * CHashedContainerStat<T, K, H>::reuseOldest(K const & key)
{
    unsigned int const rowId = getOldestId();
    if (rowId == 0 || deleteHandler || m_lent || !isLight(*child(rowId)))
        return nullptr;
    T & row = *child(rowId);
    keepCounts(row);
    takeOut(rowId);
    makeNew(row, key);
    bringIn(rowId, key, false);
    // Where one had to go another one soon will.
    prefetchRow(child(getOldestId()));
    return &row;
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::prefetchRow(T const * row)
{
    platform::prefetch(row, sizeof(T));
}

template <class T, class K, class H>
bool CHashedContainerStat<T, K, H>::isLight(T const & row)
{
    bool isLight = true;
    T::forEachColumn([&]<class Node>(auto, Node T::*column) {
        if constexpr (std::is_base_of_v<CBaseHashedContainerStat, Node>)
            isLight = isLight && (row.*column).mostRows() <= mostRowsKept;
    });
    return isLight;
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::makeEmpty()
{
    deleteHandler = nullptr;
    dumpOrderHandler = nullptr;
    orderTesting = false;
    m_tellsApart = false;
    if (m_version == m_versionEmpty && !m_lent)
        return;
    doReset();
    m_births = 0;
    m_resets = 0;
    m_versionEmpty = m_version;
}

// The state of a row that was just built.
template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::makeNew(T & row, K const & key)
{
    T::forEachColumn([&]<class Node>(auto, Node T::*column) {
        Node & node = row.*column;
        if constexpr (std::is_base_of_v<CBaseHashedContainerStat, Node>)
            node.makeEmpty();
        else if constexpr (std::is_same_v<Node, CStringStat>)
            static_cast<std::string &>(node).clear();
        else
            node = typename Node::Value();
        node.markChanged();
    });
    row.takeKey(key);
    row.markChanged();
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::destroyRows()
{
    for (unsigned int rowId = getOldestId(); rowId != 0; rowId = m_links[rowId].newer) {
        T * const row = child(rowId);
        m_rows[rowId] = nullptr;
        row->T::~T();
        m_store.give(row);
    }
    m_rowCount = 0;
}

// The summary row has no exemption.
template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::deleteOldest()
{
    if (getOldestId() == 0)
        return;
    onDelete(getOldestId() - 1);
    unsigned int const rowId = getOldestId();
    if (rowId == 0)
        return;
    giveUp(rowId);
    freeIdx = rowId - 1;
}

template <class T, class K, class H>
bool CHashedContainerStat<T, K, H>::TestOrder(CHashedContainerStat const * /*other*/) const
{
    for (unsigned int index = 0; index + 1 < m_rowCount; ++index)
        if (!childOf(index + 1)) {
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
    for (unsigned int rowId = getOldestId(); rowId != 0; rowId = m_links[rowId].newer)
        dumpOrderHandler(this, 1, flag, child(rowId));
    dumpOrderHandler(this, 2, flag, nullptr);
}

// ---- transfer ----

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::doReset()
{
    touch();
    if (m_flat)
        m_flat->clear();
    destroyRows();
    if (m_capacity != 0)
        m_links[0] = {};
    m_index.clear();
    freeIdx = limit;
    summaryRow = nullptr;
    m_lastApart = false;
    m_lent = false;
    m_ledger = {};
    m_givenUpTables = {};
    ++m_resets;
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::doPackValue(ktools::CMemoryBuffer & buffer, bool onlyChanged)
{
    if (m_flat) {
        m_flat->pack(buffer, onlyChanged);
        if (onlyChanged)
            changed = false;
        return;
    }
    for (unsigned int rowId = getOldestId(); rowId != 0; rowId = m_links[rowId].newer) {
        T & row = *child(rowId);
        if (onlyChanged && !row.isChanged())
            continue;
        auto const packedId = static_cast<unsigned short>(rowId);
        buffer.Write(&packedId, sizeof packedId);
        // The receiver may not know the row, or know the id as another key's.
        row.rowKey().packValue(buffer);
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
typename CHashedContainerStat<T, K, H>::CMatch
CHashedContainerStat<T, K, H>::rowFor(unsigned int rowId, K const & key, bool apart)
{
    if (T * const known = child(rowId)) {
        if (shows(*known, key))
            return {known, false};
        onDelete(rowId);
        // The handler may have moved the row away, or put another one there.
        if (childOf(rowId))
            removeRow(rowId);
    }
    unsigned int const filed = apart ? 0 : filedUnder(key);
    if (filed != 0) {
        moveRow(filed, rowId);
        T * const moved = child(rowId);
        moved->setChanged();
        return {moved, true};
    }
    T * const row = build(rowId, key);
    enter(row, key, apart);
    return {row, true};
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
    touchInPlace();
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
        T * const row = rowFor(rowId, key, rowId == limit && isOthers(key)).row;
        CKeyKeeper<T, K> keeper(*row, key);
        row->unpackValue(buffer);
        if (!keeper.kept())
            refuse(badRowKey);
        renewId(rowId);
    }
    changed = true;
}

// The row here that follows a row of another container.
template <class T, class K, class H>
typename CHashedContainerStat<T, K, H>::CMatch
CHashedContainerStat<T, K, H>::copyOf(unsigned int rowId, K const & key, bool apart, std::uint64_t birth,
                                      std::uint64_t births)
{
    CMatch const match = rowFor(rowId, key, apart);
    if constexpr (requires { match.row->beginAnew(); })
        if (m_tellsApart && m_index.birthOf(rowId) != birth)
            match.row->beginAnew();
    m_index.setBirth(rowId, birth);
    if (m_births < births)
        m_births = births;
    return match;
}

template <class T, class K, class H>
template <class Source>
void CHashedContainerStat<T, K, H>::takeRows(Source const & theirs)
{
    FlatRows::forEach(
        theirs, [&](unsigned int rowId, K const & key, bool apart, std::uint64_t birth, auto const & source) {
            T & row = *copyOf(rowId, key, apart, birth, FlatRows::birthsOf(theirs)).row;
            if constexpr (std::is_same_v<std::remove_cvref_t<decltype(source)>, T>)
                row.assign(source);
            else
                FlatRows::assign(row, source);
        });
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::doAssign(CBaseStat const & other)
{
    auto const & theirs = static_cast<CHashedContainerStat const &>(other);
    expectLimitOf(theirs);
    doReset();
    if (m_flat)
        theirs.m_flat ? m_flat->take(*theirs.m_flat) : m_flat->take(theirs);
    else
        theirs.m_flat ? takeRows(*theirs.m_flat) : takeRows(theirs);
    changed = true;
}

// Once a row is new or differs, every row behind it is flagged, and fully: rows go out oldest first and each
// row read becomes the receiver's newest, so all rows newer than a changed one must follow it.
template <class T, class K, class H>
template <class Source>
void CHashedContainerStat<T, K, H>::followRows(Source const & theirs)
{
    touchInPlace();
    bool following = false;
    FlatRows::forEach(
        theirs, [&](unsigned int rowId, K const & key, bool apart, std::uint64_t birth, auto const & source) {
            auto const [row, isNew] = copyOf(rowId, key, apart, birth, FlatRows::birthsOf(theirs));
            following = following || isNew;
            bool differs;
            if constexpr (std::is_same_v<std::remove_cvref_t<decltype(source)>, T>)
                differs = row->compareAssign(source);
            else
                differs = FlatRows::compareAssign(*row, source);
            if (differs) {
                changed = true;
                following = true;
            } else if (following) {
                row->setChanged();
                changed = true;
            }
            renewId(row->getId());
        });
}

template <class T, class K, class H>
bool CHashedContainerStat<T, K, H>::doCompareAssign(CBaseStat const & other)
{
    auto const & theirs = static_cast<CHashedContainerStat const &>(other);
    expectLimitOf(theirs);
    touchInPlace(); // whoever copies this one has to look
    CFollowManner const manner{.tellApart = m_tellsApart, .flagless = m_flagless};
    if (!m_flat)
        theirs.m_flat ? followRows(*theirs.m_flat) : followRows(theirs);
    else if (theirs.m_flat ? m_flat->follow(*theirs.m_flat, manner) : m_flat->follow(theirs, manner))
        changed = true;
    return changed;
}

// ---- rows that lie flat ----

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::layFlat(bool flagless)
{
    if (!m_flat && m_rowCount == 0)
        m_flat = new FlatRows;
    m_flagless = flagless;
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::unfold()
{
    if (!m_flat)
        return;
    unfoldFrom(*m_flat);
    delete std::exchange(m_flat, nullptr);
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::unfoldFrom(FlatRows const & rows)
{
    try {
        FlatRows::forEach(rows, [&](unsigned int rowId, K const & key, bool apart, std::uint64_t birth,
                                    auto const & source) {
            T * const row = build(rowId, key);
            enter(row, key, apart);
            m_index.setBirth(rowId, birth);
            FlatRows::unfold(*row, source);
        });
    } catch (...) {
        destroyRows();
        if (m_capacity != 0)
            m_links[0] = {};
        m_index.clear();
        throw;
    }
    m_births = rows.births();
}

template <class T, class K, class H>
void CHashedContainerStat<T, K, H>::take(FlatRows const & rows)
{
    doReset();
    takeRows(rows);
    changed = true;
}

template <class T, class K, class H>
bool CHashedContainerStat<T, K, H>::follow(FlatRows const & rows)
{
    followRows(rows);
    return changed;
}

} // namespace KetStats
