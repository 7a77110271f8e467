#pragma once

#include "ketstats/model/Hashing.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

namespace KetStats {

class CBaseStat;

// What the free store takes for itself, for each of its blocks.
inline constexpr std::size_t allocationBytes = 16;

// Where each row of a table stands in its update order, by row id, and the version of the table in which it came
// there, or its low bits. The end of the list both ways is 0, which is no row's id: the list is a ring through that
// entry.
struct CRowLink
{
    std::uint16_t older;
    std::uint16_t newer;
    std::uint32_t touched;
};

// What a table knows of its rows beside the rows: their keys, addresses, and places in the update order. All of
// it is found by the row id, from 1 to `capacity()`, and lies in one block that grows by doubling:
//
//     entries   (capacity + 1) * CEntry      key, next id of the bucket, number of the row
//     rows      (capacity + 1) * pointer     null for an id without a row
//     heads     buckets * 2                  first id of each bucket, 0 for none
//     links     (capacity + 1) * 8           entry 0 is both ends of the update order
//
// A row is filed under a key, and is found by that key, or isn't filed and is found by its id alone. A table
// without a row has no block. grow() throws std::bad_alloc with nothing changed; nothing else throws.
template <class K>
class CRowIndex
{
public:
    CRowIndex() = default;
    CRowIndex(CRowIndex const &) = delete;
    CRowIndex & operator=(CRowIndex const &) = delete;
    ~CRowIndex() { ::operator delete(m_entries); }

    // The id of the row that is filed under the key, 0 if there is none.
    unsigned int find(CKeyBits<K> const & key) const
    {
        unsigned int id = m_heads[bucketOf(key)];
        while (id != 0 && !(m_entries[id].key == key))
            id = static_cast<unsigned int>(m_entries[id].next);
        return id;
    }

    CKeyBits<K> const & keyOf(unsigned int id) const { return m_entries[id].key; }

    void file(unsigned int id, CKeyBits<K> const & key)
    {
        CEntry & entry = m_entries[id];
        std::uint16_t & head = m_heads[bucketOf(key)];
        entry.key = key;
        entry.next = head;
        head = static_cast<std::uint16_t>(id);
    }

    void unfile(unsigned int id)
    {
        std::uint16_t & head = m_heads[bucketOf(m_entries[id].key)];
        if (head == id) {
            head = static_cast<std::uint16_t>(m_entries[id].next);
            return;
        }
        unsigned int before = head;
        while (m_entries[before].next != id)
            before = static_cast<unsigned int>(m_entries[before].next);
        m_entries[before].next = m_entries[id].next;
    }

    // The number of a row, which goes with it; see CBaseHashedContainerStat::birthOf.
    std::uint64_t birthOf(unsigned int id) const { return m_entries[id].birth; }
    void setBirth(unsigned int id, std::uint64_t number) { m_entries[id].birth = number & mostBirths; }

    unsigned int capacity() const { return m_capacity; }

    // What it takes at most for so many ids.
    static constexpr std::size_t largestBytes(std::size_t ids) { return bytesFor(ids + 1) + allocationBytes; }

    // Makes room for the id, one up to `limit`. Hands out where rows and links are from then on.
    void grow(unsigned int id, unsigned int limit, CBaseStat **& rows, CRowLink *& links)
    {
        unsigned int capacity = m_capacity == 0 ? firstCapacity : m_capacity * 2 + 1;
        while (capacity < id)
            capacity = capacity * 2 + 1;
        if (capacity > limit)
            capacity = limit;

        std::size_t const places = std::size_t{capacity} + 1;
        std::size_t const buckets = std::bit_ceil(places) * bucketsForEach;
        std::size_t const used = m_capacity == 0 ? 0 : std::size_t{m_capacity} + 1;
        auto * const block = static_cast<unsigned char *>(::operator new(bytesFor(places)));
        auto * const entries = reinterpret_cast<CEntry *>(block);
        auto * const newRows = reinterpret_cast<CBaseStat **>(entries + places);
        auto * const heads = reinterpret_cast<std::uint16_t *>(newRows + places);
        auto * const newLinks = reinterpret_cast<CRowLink *>(heads + buckets);

        if (used != 0) {
            std::memcpy(static_cast<void *>(entries), m_entries, sizeof(CEntry) * used);
            std::memcpy(newRows, rows, sizeof *rows * used);
            std::memcpy(newLinks, links, sizeof *links * used);
        } else {
            newLinks[0] = {};
        }
        std::memset(static_cast<void *>(entries + used), 0, sizeof(CEntry) * (places - used));
        std::memset(newRows + used, 0, sizeof *rows * (places - used));
        std::memset(heads, 0, sizeof *heads * buckets);

        // What is filed is what the old buckets lead to.
        std::uint16_t const * const oldHeads = std::exchange(m_heads, heads);
        unsigned int const oldBuckets = 1U << (64 - m_shift);
        m_shift = 64 - static_cast<unsigned int>(std::bit_width(buckets) - 1);
        CEntry * const old = std::exchange(m_entries, entries);
        if (old)
            for (unsigned int bucket = 0; bucket < oldBuckets; ++bucket)
                for (unsigned int filed = oldHeads[bucket]; filed != 0;
                     filed = static_cast<unsigned int>(old[filed].next))
                    file(filed, entries[filed].key);
        ::operator delete(old);
        rows = newRows;
        links = newLinks;
        m_capacity = capacity;
    }

    // Forgets what is filed.
    void clear()
    {
        if (m_entries)
            std::memset(m_heads, 0, sizeof *m_heads << (64 - m_shift));
    }

private:
    struct CEntry
    {
        CKeyBits<K> key;
        std::uint64_t next : 16; // in the bucket
        std::uint64_t birth : 48;
    };

    static constexpr std::size_t bytesFor(std::size_t places)
    {
        return places * (sizeof(CEntry) + sizeof(CBaseStat *) + sizeof(CRowLink)) +
               std::bit_ceil(places) * bucketsForEach * sizeof *m_heads;
    }

    static constexpr unsigned int firstCapacity = 3;
    static constexpr std::size_t bucketsForEach = 4; // so that most have one row at most
    static constexpr std::uint64_t mostBirths = (std::uint64_t{1} << 48) - 1;

    std::size_t bucketOf(CKeyBits<K> const & key) const
    {
        return static_cast<std::size_t>(key.mix(m_factors) >> m_shift);
    }

    // Two buckets, as few as a shift can lead to, of the tables without rows. Nothing is ever filed there.
    static inline std::uint16_t noHeads[2] = {0, 0};

    CEntry * m_entries = nullptr; // the start of the block
    std::uint16_t * m_heads = noHeads;
    CIndexFactors const & m_factors = indexFactors();
    unsigned int m_shift = 63;
    unsigned int m_capacity = 0;
};

} // namespace KetStats
