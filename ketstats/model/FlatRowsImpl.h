#pragma once

#include "ketstats/model/FlatRows.h"
#include "ketstats/model/HashedContainerStat.h"

#include <atomic>

namespace KetStats {

// Finds rows by key while a table follows another, which is called for only where a row is new. It takes no
// memory before it is asked.
template <class T>
class CFlatRows<T>::CFinder
{
public:
    CFinder(CFlatRows & rows, std::size_t more) : m_rows(rows), m_most(rows.m_count + more) {}

    // The id of the row of that key which doesn't stand apart, 0 if there is none.
    unsigned int find(Key const & key)
    {
        if (m_places.empty())
            build();
        for (std::size_t place = start(key);; place = (place + 1) & m_mask) {
            unsigned int const id = m_places[place];
            if (id == 0)
                return 0;
            CRow const * const row = m_rows.row(id);
            if (row && !m_rows.isApart(id) && CKeyBits<Key>(row->rowKey()) == CKeyBits<Key>(key))
                return id;
        }
    }

    void enter(Key const & key, unsigned int id)
    {
        if (m_places.empty())
            return;
        std::size_t place = start(key);
        while (m_places[place] != 0)
            place = (place + 1) & m_mask;
        m_places[place] = static_cast<std::uint16_t>(id);
    }

private:
    // Rows that leave keep their places; each that comes takes one.
    void build()
    {
        std::size_t const places = std::bit_ceil(m_most * 2 + 2);
        m_places.resize(places);
        m_mask = places - 1;
        m_shift = 64 - static_cast<unsigned int>(std::countr_zero(places));
        for (unsigned int id = 1; id <= m_rows.m_capacity; ++id)
            if (CRow const * const row = m_rows.row(id))
                enter(row->rowKey(), id);
    }

    std::size_t start(Key const & key) const
    {
        return static_cast<std::size_t>(CKeyBits<Key>(key).mix(indexFactors()) >> m_shift);
    }

    CFlatRows & m_rows;
    std::size_t m_most;
    std::vector<std::uint16_t> m_places;
    std::size_t m_mask = 0;
    unsigned int m_shift = 63;
};

// Puts the order right at the end of follow(), also where that ends early: first what the source hasn't, as it
// stood, then what was brought up to date, in the order of the source.
template <class T>
class CFlatRows<T>::COrderKeeper
{
public:
    explicit COrderKeeper(CFlatRows & rows) : m_rows(rows) {}
    COrderKeeper(COrderKeeper const &) = delete;
    COrderKeeper & operator=(COrderKeeper const &) = delete;

    // Tells how many rows weren't brought up to date.
    template <class Source>
    unsigned int keep(Source const & source, unsigned int newest) noexcept
    {
        std::uint16_t * const order = m_rows.ids();
        unsigned int count = 0;
        for (unsigned int place = 0; place < m_rows.m_count; ++place) {
            CRow const * const row = m_rows.row(order[place]);
            if (row && !row->flag(seen))
                order[count++] = order[place];
        }
        unsigned int const others = count;
        forNewestIds(source, newest, [&](unsigned int id) {
            CRow * const row = m_rows.row(id);
            if (!row || !row->flag(seen))
                return;
            row->setFlag(seen, false);
            order[count++] = static_cast<std::uint16_t>(id);
        });
        m_rows.m_count = static_cast<std::uint16_t>(count);
        return others;
    }

private:
    CFlatRows & m_rows;
};

template <class T>
unsigned int CFlatRows<T>::limitOf(Table const & table)
{
    return table.getLimit();
}

template <class T>
std::uint64_t CFlatRows<T>::birthsOf(Table const & table)
{
    return table.m_births;
}

template <class T>
template <class Take>
void CFlatRows<T>::forNewestIds(Table const & table, unsigned int count, Take && take)
{
    unsigned int id = table.getOldestId();
    if (count < table.size()) {
        id = 0;
        for (; count != 0; --count)
            id = table.m_links[id].older;
    }
    for (; id != 0; id = table.m_links[id].newer)
        take(id);
}

template <class T>
template <class Take>
void CFlatRows<T>::forNewestIds(CFlatRows const & table, unsigned int count, Take && take)
{
    for (unsigned int const id : table.order().last(count))
        take(id);
}

template <class T>
template <class Take>
void CFlatRows<T>::forNewest(Table const & table, unsigned int count, Take && take)
{
    forNewestIds(table, count, [&](unsigned int id) {
        Table::prefetchRow(table.child(table.m_links[id].newer));
        T const & row = *table.child(id);
        take(id, row.rowKey(), table.isApart(id), table.birthOf(id), row);
    });
}

template <class T>
template <class Take>
void CFlatRows<T>::forNewest(CFlatRows const & table, unsigned int count, Take && take)
{
    forNewestIds(table, count, [&](unsigned int id) {
        CRow const & row = *table.row(id);
        take(id, row.rowKey(), table.isApart(id), std::uint64_t{row.birth}, row);
    });
}

template <class T>
void CFlatRows<T>::reserve(unsigned int id)
{
    if (id <= m_capacity)
        return;
    // Small tables take what they need, for there can be two at each station.
    unsigned int const capacity = std::min<unsigned int>(id < 16 ? id : id + id / 8, m_limit);
    auto * const rows =
        static_cast<CRow *>(::operator new((sizeof(CRow) + sizeof(std::uint16_t)) * std::max(capacity, id)));
    std::uint16_t const * const order = ids();
    std::uninitialized_move_n(m_rows, m_capacity, rows);
    std::uninitialized_value_construct_n(rows + m_capacity, capacity - m_capacity);
    std::copy_n(order, m_count, reinterpret_cast<std::uint16_t *>(rows + capacity));
    std::destroy_n(m_rows, m_capacity);
    ::operator delete(std::exchange(m_rows, rows));
    m_capacity = static_cast<std::uint16_t>(capacity);
}

template <class T>
template <class Source>
void CFlatRows<T>::prepareFor(Source const & source, unsigned int count)
{
    m_limit = static_cast<std::uint16_t>(limitOf(source));
    unsigned int last = 0;
    forNewestIds(source, count, [&](unsigned int id) { last = std::max(last, id); });
    reserve(last);
}

template <class T>
typename CFlatRows<T>::CRow & CFlatRows<T>::fresh(unsigned int id, Key const & key, bool apart)
{
    CRow & row = m_rows[id - 1];
    row.flags = allFlags | std::uint64_t{1} << present;
    row.takeKey(key);
    row.setBirth(++m_births);
    if (id == m_limit)
        m_lastApart = apart;
    return row;
}

// As CHashedContainerStat::rowFor, but for handlers, which no table has that lies flat.
template <class T>
typename CFlatRows<T>::CMatch CFlatRows<T>::rowFor(unsigned int id, Key const & key, bool apart,
                                                   CFinder & finder)
{
    if (CRow * const known = row(id)) {
        if (CKeyBits<Key>(known->rowKey()) == CKeyBits<Key>(key))
            return {*known, false};
        remove(*known);
    }
    unsigned int const filed = apart ? 0 : finder.find(key);
    if (!apart)
        finder.enter(key, id);
    if (filed == 0)
        return {fresh(id, key, apart), true};
    CRow & moved = m_rows[id - 1];
    moved = std::move(m_rows[filed - 1]);
    remove(m_rows[filed - 1]);
    if (id == m_limit)
        m_lastApart = false;
    setChanged(moved);
    return {moved, true};
}

template <class T>
std::uint64_t CFlatRows<T>::nextVersion()
{
    static std::atomic<std::uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

// How many of the newest rows of the source there is something to do with; these rows were a copy of it.
template <class T>
template <class Source>
unsigned int CFlatRows<T>::toBeFollowed(Source const & source) const
{
    unsigned int const count = source.touchedSince(m_sourceVersion);
    if (count >= source.size())
        return source.size();
    // Rows that are gone there stand first, in an order of their own.
    unsigned int known = 0;
    forNewestIds(source, count, [&](unsigned int id) { known += row(id) ? 1 : 0; });
    return m_count - known == source.size() - count ? count : source.size();
}

template <class T>
template <class Source>
bool CFlatRows<T>::follow(Source const & source, CFollowManner const & manner)
{
    bool const isKnown = manner.isSame && m_source == &source && (manner.flagless || !m_flagged);
    unsigned int const count = isKnown ? toBeFollowed(source) : source.size();
    if (isKnown && count == 0 && m_count == source.size())
        return false;
    std::uint64_t const before = std::exchange(m_version, nextVersion());
    // Unless all goes well.
    m_source = nullptr;
    m_flagged = true;
    m_versionBefore = noVersion;
    CFollowManner known = manner;
    known.isSame = isKnown;
    auto const [changed, isCopy] = followNewest(source, count, known);
    m_flagged = changed;
    m_followed = static_cast<std::uint16_t>(count);
    // Rows that the source hasn't keep their flags, and those that share one there differ for ever.
    if (isCopy) {
        m_source = &source;
        m_sourceVersion = source.version();
        m_versionBefore = before;
    }
    return changed;
}

// What was brought up to date stands behind what wasn't, so that all is in the order of the source where nothing is
// gone there.
template <class T>
template <class Source>
typename CFlatRows<T>::CFollowed CFlatRows<T>::followNewest(Source const & source, unsigned int count,
                                                            CFollowManner const & manner)
{
    prepareFor(source, count);
    bool changed = false;
    bool following = false;
    CFinder finder(*this, source.size());
    COrderKeeper keeper(*this);
    try {
        forNewest(
            source, count,
            [&](unsigned int id, Key const & key, bool apart, std::uint64_t birth, auto const & values) {
                auto const [row, isNew] = rowFor(id, key, apart, finder);
                row.setFlag(seen, true);
                CFollowManner const below{.flagless = manner.flagless,
                                          .isSame = manner.isSame && !isNew && row.birth == birth};
                if constexpr (requires(T & node) { node.beginAnew(); })
                    if (manner.tellApart && row.birth != birth)
                        beginAnew(row);
                row.setBirth(birth);
                m_births = std::max(m_births, birthsOf(source));
                following = following || isNew;
                if (compareAssignRow(row, values, below)) {
                    changed = true;
                    following = true;
                } else if (following) {
                    if (!manner.flagless)
                        setChanged(row);
                    changed = true;
                }
            });
    } catch (...) {
        keeper.keep(source, count);
        throw;
    }
    unsigned int const others = keeper.keep(source, count);
    return {changed, m_count == source.size() && others == source.size() - count};
}

template <class T>
template <class Source>
void CFlatRows<T>::take(Source const & source)
{
    clear();
    m_flagged = true;
    prepareFor(source, source.size());
    forEach(source,
            [&](unsigned int id, Key const & key, bool apart, std::uint64_t birth, auto const & values) {
                CRow & row = fresh(id, key, apart);
                row.setBirth(birth);
                ids()[m_count++] = static_cast<std::uint16_t>(id);
                assignRow(row, values);
            });
    m_births = std::max(m_births, birthsOf(source));
}

template <class T>
void CFlatRows<T>::clear() noexcept
{
    for (unsigned int const id : order())
        remove(m_rows[id - 1]);
    m_count = 0;
    m_lastApart = false;
    m_flagged = false;
    m_source = nullptr;
    m_version = nextVersion();
    m_versionBefore = noVersion;
    m_followed = 0;
}

// ---- one row ----

template <class T>
template <class Source>
bool CFlatRows<T>::compareAssignRow(CRow & row, Source const & source, CFollowManner const & manner)
{
    bool any = false;
    std::size_t offset = 0;
    T::forEachColumn(
        [&]<unsigned int Id, class Node>(std::integral_constant<unsigned int, Id>, Node T::*column) {
            bool differs = false;
            if constexpr (Columns::template kindOf<Node>() == Columns::Kind::value) {
                auto const value = valueAt(source, column, offset);
                unsigned char * const own = row.values + offset;
                differs = std::memcmp(own, &value, sizeof value) != 0;
                std::memcpy(own, &value, sizeof value);
                offset += sizeof value;
            } else if constexpr (Columns::template kindOf<Node>() == Columns::Kind::text) {
                std::string const & text = partAt<Id>(source, column);
                std::string & own = row.template part<Id>();
                differs = std::strcmp(own.c_str(), text.c_str()) != 0;
                if (differs)
                    own = text;
            } else {
                // The flag of a table stays up until it is packed.
                differs = row.template part<Id>().follow(partAt<Id>(source, column), manner) ||
                          (!manner.flagless && row.flag(Id));
            }
            if (!manner.flagless)
                row.setFlag(Id, differs);
            any = any || differs;
        });
    if (!manner.flagless)
        row.setFlag(ownFlag, any);
    return any;
}

template <class T>
template <class Source>
void CFlatRows<T>::assignRow(CRow & row, Source const & source)
{
    std::size_t offset = 0;
    T::forEachColumn(
        [&]<unsigned int Id, class Node>(std::integral_constant<unsigned int, Id>, Node T::*column) {
            if constexpr (Columns::template kindOf<Node>() == Columns::Kind::value) {
                auto const value = valueAt(source, column, offset);
                std::memcpy(row.values + offset, &value, sizeof value);
                offset += sizeof value;
            } else if constexpr (Columns::template kindOf<Node>() == Columns::Kind::text) {
                row.template part<Id>() = partAt<Id>(source, column);
            } else {
                row.template part<Id>().take(partAt<Id>(source, column));
            }
        });
    // As the node does when it was assigned.
    if constexpr (CRow::keyStandsApart) {
        row.key.first = row.template get<&T::source>();
        row.key.second = row.template get<&T::destination>();
    }
}

template <class T>
void CFlatRows<T>::setChanged(CRow & row)
{
    row.flags |= allFlags;
    T::forEachColumn([&]<unsigned int Id, class Node>(std::integral_constant<unsigned int, Id>, Node T::*) {
        if constexpr (Columns::template kindOf<Node>() == Columns::Kind::table)
            row.template part<Id>().setChanged();
    });
}

template <class T>
void CFlatRows<T>::setChanged()
{
    m_flagged = true;
    for (unsigned int const id : order())
        setChanged(m_rows[id - 1]);
}

template <class T>
void CFlatRows<T>::beginAnew(CRow & row)
{
    T::forEachColumn([&]<unsigned int Id, class Node>(std::integral_constant<unsigned int, Id>, Node T::*) {
        if constexpr (Columns::template kindOf<Node>() == Columns::Kind::table)
            row.template part<Id>().clear();
    });
}

// ---- packing ----

template <class T>
void CFlatRows<T>::pack(ktools::CMemoryBuffer & buffer, bool onlyChanged)
{
    auto const write = [&](std::uint16_t number) { buffer.Write(&number, sizeof number); };
    for (std::uint16_t const id : order()) {
        CRow & row = m_rows[id - 1];
        if (onlyChanged && !row.isChanged())
            continue;
        write(id);
        row.rowKey().packValue(buffer);
        std::size_t offset = 0;
        T::forEachColumn(
            [&]<unsigned int Id, class Node>(std::integral_constant<unsigned int, Id>, Node T::*) {
                std::size_t const at = offset;
                if constexpr (Columns::template kindOf<Node>() == Columns::Kind::value)
                    offset += sizeof(typename Node::Value);
                if (onlyChanged && !row.flag(Id))
                    return;
                write(Id);
                if constexpr (Columns::template kindOf<Node>() == Columns::Kind::value) {
                    buffer.Write(row.values + at, sizeof(typename Node::Value));
                } else if constexpr (Columns::template kindOf<Node>() == Columns::Kind::text) {
                    std::string const & text = row.template part<Id>();
                    auto const length = static_cast<std::uint16_t>(text.size());
                    write(length);
                    buffer.Write(text.data(), length);
                } else {
                    row.template part<Id>().pack(buffer, onlyChanged);
                }
                if (onlyChanged)
                    row.setFlag(Id, false);
            });
        write(0);
        if (onlyChanged)
            row.setFlag(ownFlag, false);
    }
    write(0);
    if (onlyChanged)
        m_flagged = false;
}

// ---- nodes ----

template <class T>
void CFlatRows<T>::unfold(T & target, CRow const & source)
{
    std::size_t offset = 0;
    T::forEachColumn(
        [&]<unsigned int Id, class Node>(std::integral_constant<unsigned int, Id>, Node T::*column) {
            Node & node = target.*column;
            if constexpr (Columns::template kindOf<Node>() == Columns::Kind::value) {
                node = valueAt(source, column, offset);
                offset += sizeof(typename Node::Value);
            } else if constexpr (Columns::template kindOf<Node>() == Columns::Kind::text) {
                node = source.template part<Id>();
            } else {
                node.unfoldFrom(source.template part<Id>());
            }
            node.markChanged(source.flag(Id));
        });
    target.markChanged(source.isChanged());
}

template <class T>
bool CFlatRows<T>::compareAssign(T & target, CRow const & source)
{
    bool any = false;
    std::size_t offset = 0;
    T::forEachColumn(
        [&]<unsigned int Id, class Node>(std::integral_constant<unsigned int, Id>, Node T::*column) {
            Node & node = target.*column;
            bool differs = false;
            if constexpr (Columns::template kindOf<Node>() == Columns::Kind::value) {
                auto const value = valueAt(source, column, offset);
                differs = std::memcmp(&node.get(), &value, sizeof value) != 0;
                node = value;
                offset += sizeof value;
            } else if constexpr (Columns::template kindOf<Node>() == Columns::Kind::text) {
                std::string const & text = source.template part<Id>();
                differs = std::strcmp(node.get().c_str(), text.c_str()) != 0;
                if (differs)
                    node = text;
            } else {
                differs = node.follow(source.template part<Id>());
            }
            node.markChanged(differs);
            any = any || differs;
        });
    target.markChanged(any);
    return any;
}

template <class T>
void CFlatRows<T>::assign(T & target, CRow const & source)
{
    std::size_t offset = 0;
    T::forEachColumn(
        [&]<unsigned int Id, class Node>(std::integral_constant<unsigned int, Id>, Node T::*column) {
            Node & node = target.*column;
            if constexpr (Columns::template kindOf<Node>() == Columns::Kind::value) {
                node = valueAt(source, column, offset);
                offset += sizeof(typename Node::Value);
            } else if constexpr (Columns::template kindOf<Node>() == Columns::Kind::text) {
                node = source.template part<Id>();
            } else {
                node.take(source.template part<Id>());
            }
            node.markChanged();
        });
    if constexpr (requires { target.updateKey(); })
        target.updateKey();
    target.markChanged();
}

} // namespace KetStats
