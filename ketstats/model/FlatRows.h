#pragma once

#include "ketstats/model/RowIndex.h"
#include "ketstats/model/StringStat.h"
#include "ketstats/model/ValueStat.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace KetStats {

class CBaseHashedContainerStat;

// How the columns of a row class T lie in a flat row: the values one behind the other, without gaps, and beside
// them a part for each column that is a text or a table.
template <class T>
struct CFlatColumns
{
    enum class Kind
    {
        value,
        text,
        table,
    };

    template <class Node>
    static constexpr Kind kindOf()
    {
        if (std::is_base_of_v<CBaseValueStat, Node>)
            return Kind::value;
        return std::is_same_v<Node, CStringStat> ? Kind::text : Kind::table;
    }

    static constexpr std::size_t valueBytes()
    {
        std::size_t sum = 0;
        T::forEachColumn([&]<class Node>(auto, Node T::*) {
            if constexpr (kindOf<Node>() == Kind::value)
                sum += sizeof(typename Node::Value);
        });
        return sum;
    }

    // Where the values of a column begin.
    template <class Column>
    static constexpr std::size_t offsetOf(Column T::*column)
    {
        std::size_t sum = 0;
        std::size_t found = 0;
        T::forEachColumn([&]<class Node>(auto, Node T::*member) {
            if constexpr (std::is_same_v<Node, Column>)
                if (member == column)
                    found = sum;
            if constexpr (kindOf<Node>() == Kind::value)
                sum += sizeof(typename Node::Value);
        });
        return found;
    }

    template <class Node>
    static auto partFor()
    {
        if constexpr (std::is_void_v<Node>)
            return std::tuple<>();
        else if constexpr (kindOf<Node>() == Kind::value)
            return std::tuple<>();
        else if constexpr (kindOf<Node>() == Kind::text)
            return std::tuple<std::string>();
        else
            return std::tuple<typename Node::FlatRows>();
    }

    template <class List>
    struct CPartsOf;
    template <template <class...> class List, class... Nodes>
    struct CPartsOf<List<Nodes...>>
    {
        using Type = decltype(std::tuple_cat(partFor<Nodes>()...));
    };
    using Parts = typename CPartsOf<typename T::ColumnNodes>::Type;

    // Which of the parts belongs to the column of that id.
    static constexpr std::size_t partOf(unsigned int id)
    {
        std::size_t index = 0;
        T::forEachColumn([&]<class Node>(auto column, Node T::*) {
            if (column < id && kindOf<Node>() != Kind::value)
                ++index;
        });
        return index;
    }
};

// How rows follow a table.
struct CFollowManner
{
    bool tellApart = false; // see CHashedContainerStat::tellRowsApart
    // Nobody will ask for the flags of these rows, which are left as they are.
    bool flagless = false;
    // The source is what was followed last, if it lies there, and no other table that has its place now.
    bool isSame = true;
};

// The rows of a table as plain records: what a CHashedContainerStat holds of them, without the nodes, in a
// sixth of the memory. It follows another table, flat or not, as a CHashedContainerStat does, flag by flag, and
// packs the same bytes; but nothing can be looked up by key, and there is nothing that a client could be given.
//
//     rows      capacity * CRow      by row id, from 1
//     order     capacity * 2         ids of the rows that there are, from the oldest to the newest
//
// Both lie in one block. What throws std::bad_alloc leaves rows and order whole.
template <class T>
class CFlatRows
{
public:
    using Table = typename T::Container;
    using Key = std::remove_cvref_t<decltype(std::declval<T const &>().rowKey())>;
    using Columns = CFlatColumns<T>;

    class CRow
    {
    public:
        CRow() : birth(0), flags(0) {}

        template <auto Column>
        auto get() const
        {
            using Value = typename std::remove_cvref_t<decltype(std::declval<T &>().*Column)>::Value;
            constexpr std::size_t offset = Columns::offsetOf(Column);
            Value value;
            std::memcpy(static_cast<void *>(&value), values + offset, sizeof value);
            return value;
        }
        template <auto Column, class Value>
        void set(Value const & value)
        {
            static_assert(std::is_same_v<Value, decltype(get<Column>())>);
            constexpr std::size_t offset = Columns::offsetOf(Column);
            std::memcpy(values + offset, &value, sizeof value);
        }

        Key rowKey() const
        {
            if constexpr (keyStandsApart)
                return key;
            else
                return keyInValues();
        }

        bool flag(unsigned int bit) const { return (flags >> bit & 1) != 0; }
        void setBirth(std::uint64_t number) { birth = number & mostBirths; }
        void setFlag(unsigned int bit, bool on)
        {
            std::uint64_t const mask = std::uint64_t{1} << bit;
            flags = (on ? flags | mask : flags & ~mask) & mostFlags;
        }
        bool isChanged() const { return flag(ownFlag); }

        std::uint64_t birth : 48;
        std::uint64_t flags : 16; // of the columns, by id, and those below

    private:
        friend CFlatRows;

        static constexpr std::uint64_t mostBirths = (std::uint64_t{1} << 48) - 1;
        static constexpr std::uint64_t mostFlags = (std::uint64_t{1} << 16) - 1;
        struct CNoKey
        {};
        static constexpr bool keyStandsApart = requires(T & row) { row.key; };

        Key keyInValues() const
        {
            Key result{};
            std::size_t offset = 0;
            T::forEachColumn([&]<class Node>(auto, Node T::*) {
                if constexpr (Columns::template kindOf<Node>() == Columns::Kind::value) {
                    if constexpr (std::is_same_v<typename Node::Value, Key>)
                        std::memcpy(static_cast<void *>(&result), values + offset, sizeof result);
                    offset += sizeof(typename Node::Value);
                }
            });
            return result;
        }

        void takeKey(Key const & theKey)
        {
            std::size_t offset = 0;
            std::size_t taken = 0; // of the key
            T::forEachColumn([&]<class Node>(auto, Node T::*) {
                if constexpr (Columns::template kindOf<Node>() == Columns::Kind::value) {
                    using Value = typename Node::Value;
                    if constexpr (isKeyColumn<Value>()) {
                        std::memcpy(values + offset, reinterpret_cast<unsigned char const *>(&theKey) + taken,
                                    sizeof(Value));
                        taken += sizeof(Value);
                    }
                    offset += sizeof(Value);
                }
            });
            if constexpr (keyStandsApart)
                key = theKey;
        }

        template <class Value>
        static constexpr bool isKeyColumn()
        {
            if constexpr (keyStandsApart)
                return std::is_same_v<Value, decltype(Key::first)>;
            else
                return std::is_same_v<Value, Key>;
        }

        template <unsigned int Id>
        auto & part()
        {
            return std::get<Columns::partOf(Id)>(parts);
        }
        template <unsigned int Id>
        auto const & part() const
        {
            return std::get<Columns::partOf(Id)>(parts);
        }

        [[no_unique_address]] std::conditional_t<keyStandsApart, Key, CNoKey> key{};
        unsigned char values[Columns::valueBytes()]{};
        [[no_unique_address]] typename Columns::Parts parts{};
    };

    CFlatRows() = default;
    CFlatRows(CFlatRows && other) noexcept { swap(other); }
    CFlatRows & operator=(CFlatRows && other) noexcept
    {
        swap(other);
        return *this;
    }
    ~CFlatRows()
    {
        std::destroy_n(m_rows, m_capacity);
        ::operator delete(m_rows);
    }

    unsigned int size() const { return m_count; }
    std::span<std::uint16_t const> order() const { return {ids(), m_count}; }
    // The row of an id, null if there is none.
    CRow * row(unsigned int id)
    {
        return id != 0 && id <= m_capacity && m_rows[id - 1].flag(present) ? &m_rows[id - 1] : nullptr;
    }
    CRow const * row(unsigned int id) const { return const_cast<CFlatRows *>(this)->row(id); }
    // Whether the row of that id stands apart; see CHashedContainerStat.
    bool isApart(unsigned int id) const { return m_lastApart && id == m_limit; }
    std::uint64_t births() const { return m_births; }

    // What CHashedContainerStat::doCompareAssign does but for its own flag; tells whether that goes up. Nothing is
    // done where nothing could change: neither flags nor values of rows that nothing was done to since the source was
    // followed last.
    template <class Source>
    bool follow(Source const & source, CFollowManner const & manner);
    // How many of the newest rows the last follow() looked at; all others stayed as they were.
    unsigned int followed() const { return m_followed; }
    // Has the next follow() not rely on the last one.
    void forgetSource() { m_source = nullptr; }
    // Whether these were the very rows of that table, and no others, when they followed it last.
    bool isCopyOf(Table const & source) const { return m_source == &source; }
    // Never the same for two states of rows, whichever table they are in.
    std::uint64_t version() const { return m_version; }
    unsigned int touchedSince(std::uint64_t since) const
    {
        return since == m_version ? 0 : since == m_versionBefore ? m_followed : m_count;
    }
    // What CHashedContainerStat::doAssign does.
    template <class Source>
    void take(Source const & source);

    // What the rows of a table of that limit take at most, beside what they take on their own.
    static constexpr std::size_t largestMemory(unsigned int limit)
    {
        return limit * (sizeof(CRow) + sizeof(std::uint16_t)) + allocationBytes;
    }

    void clear() noexcept;
    // Flags all rows, and all that they have.
    void setChanged();
    void pack(ktools::CMemoryBuffer & buffer, bool onlyChanged);

    // Gives a row as a node, just built with its key, the values and flags of a flat one.
    static void unfold(T & target, CRow const & source);
    // What CBaseStat::compareAssign and assign do, from a flat row.
    static bool compareAssign(T & target, CRow const & source);
    static void assign(T & target, CRow const & source);

    // Calls `take` with the id, the key, whether it stands apart, the birth and the row itself of each row of a
    // table, or so many of the newest, from the oldest to the newest.
    template <class Take>
    static void forEach(Table const & table, Take && take)
    {
        forNewest(table, table.size(), take);
    }
    template <class Take>
    static void forEach(CFlatRows const & table, Take && take)
    {
        forNewest(table, table.size(), take);
    }
    template <class Take>
    static void forNewestIds(Table const & table, unsigned int count, Take && take);
    template <class Take>
    static void forNewestIds(CFlatRows const & table, unsigned int count, Take && take);
    template <class Take>
    static void forNewest(Table const & table, unsigned int count, Take && take);
    template <class Take>
    static void forNewest(CFlatRows const & table, unsigned int count, Take && take);

    // How many rows a table ever had.
    static std::uint64_t birthsOf(Table const & table);
    static std::uint64_t birthsOf(CFlatRows const & table) { return table.m_births; }

private:
    static constexpr unsigned int ownFlag = 13; // the row's
    static constexpr unsigned int seen = 14;    // only within follow()
    static constexpr unsigned int present = 15;
    static constexpr std::uint64_t allFlags = (std::uint64_t{1} << seen) - 1;
    static_assert(std::tuple_size_v<typename Columns::Parts> < 12, "columns have flags");

    class CFinder;
    class COrderKeeper;

    static unsigned int limitOf(Table const & table);
    static unsigned int limitOf(CFlatRows const & table) { return table.m_limit; }

    std::uint16_t * ids() const { return reinterpret_cast<std::uint16_t *>(m_rows + m_capacity); }

    static constexpr std::uint64_t noVersion = ~std::uint64_t{0};
    static std::uint64_t nextVersion();

    struct CFollowed
    {
        bool changed;
        bool isCopy; // row for row
    };
    template <class Source>
    unsigned int toBeFollowed(Source const & source) const;
    template <class Source>
    CFollowed followNewest(Source const & source, unsigned int count, CFollowManner const & manner);
    template <class Source>
    void prepareFor(Source const & source, unsigned int count);
    void reserve(unsigned int id);
    CRow & fresh(unsigned int id, Key const & key, bool apart);
    void remove(CRow & row) noexcept { row = CRow(); }
    struct CMatch
    {
        CRow & row;
        bool isNew; // it was made, or moved to this id
    };
    CMatch rowFor(unsigned int id, Key const & key, bool apart, CFinder & finder);
    template <class Source>
    static bool compareAssignRow(CRow & row, Source const & source, CFollowManner const & manner);
    template <class Source>
    static void assignRow(CRow & row, Source const & source);
    static void setChanged(CRow & row);
    static void beginAnew(CRow & row);

    // The value of a column at its source, a row as a node or a flat one.
    template <class Node>
    static typename Node::Value valueAt(T const & source, Node T::*column, std::size_t /*offset*/)
    {
        return (source.*column).get();
    }
    template <class Node>
    static typename Node::Value valueAt(CRow const & source, Node T::*, std::size_t offset)
    {
        typename Node::Value value;
        std::memcpy(static_cast<void *>(&value), source.values + offset, sizeof value);
        return value;
    }
    template <unsigned int Id, class Node>
    static auto const & partAt(T const & source, Node T::*column)
    {
        if constexpr (std::is_same_v<Node, CStringStat>)
            return (source.*column).get();
        else
            return source.*column;
    }
    template <unsigned int Id, class Node>
    static auto const & partAt(CRow const & source, Node T::*)
    {
        return source.template part<Id>();
    }

    void swap(CFlatRows & other) noexcept
    {
        std::swap(m_rows, other.m_rows);
        std::swap(m_births, other.m_births);
        std::swap(m_count, other.m_count);
        std::swap(m_capacity, other.m_capacity);
        std::swap(m_limit, other.m_limit);
        std::swap(m_lastApart, other.m_lastApart);
        std::swap(m_flagged, other.m_flagged);
        std::swap(m_source, other.m_source);
        std::swap(m_sourceVersion, other.m_sourceVersion);
        std::swap(m_version, other.m_version);
        std::swap(m_versionBefore, other.m_versionBefore);
        std::swap(m_followed, other.m_followed);
    }

    CRow * m_rows = nullptr;    // the start of the block
    std::uint64_t m_births = 0; // rows that the table ever had
    std::uint16_t m_count = 0;
    std::uint16_t m_capacity = 0;
    std::uint16_t m_limit = 0; // of the table, known once it followed another
    bool m_lastApart = false;
    bool m_flagged = false; // some flag may be up
    // What was followed last, row for row.
    void const * m_source = nullptr;
    std::uint64_t m_sourceVersion = 0;
    std::uint64_t m_version = 0;
    std::uint64_t m_versionBefore = noVersion; // of the last follow(), if all but what it looked at stayed
    std::uint16_t m_followed = 0;
};

} // namespace KetStats
