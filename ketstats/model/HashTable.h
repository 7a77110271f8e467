#pragma once

#include "ketstats/model/Hashing.h"

#include <new>

namespace KetStats {

template <class T, class K, class H>
class CHashedContainerStat;

// An open-addressing table of rows: T is the row class, K the key, H the hasher. It only says where a key is
// or would go. A CHashedContainerStat doesn't stand on it: to that, the number of a row's slot means nothing.
//
// Slots have a state, and a slot that was used keeps its key:
//
//     free ----alloc---> used ----free---> deleted ----alloc---> used ...          clearing: all ----> free
//
// 1. A search walks from hash() in steps of rehash(), which visits every slot, since the size is prime. It
//    ends at the first slot that is free or bears the key, used or deleted. Only if the whole walk met neither
//    does it end at the first deleted slot, and with none of these at `maxSize()`.
// 2. A deleted slot becomes free only when the table is cleared. So on a long run the free ones run out, and
//    that walk would visit every slot for each new key. Therefore the table keeps an index from each key to
//    the one slot that bears it: a key that is there is found through it, and of a walk for one that isn't
//    only the states are left to look at, up to the first free or deleted slot.
// 3. Keys, states and index lie apart from the rows, and rows are handed out densely, so that building or
//    clearing a table touches no row's memory, and the memory in use follows the rows in use.
//
// All storage is taken by the constructor, in one block:
//
//     rows      tableSize * T          raw storage
//     slots     tableSize * CSlot      key, row, link of the index
//     heads     buckets * 4            the index: first slot of each bucket
//     vacated   tableSize * 4          rows given back, to be handed out again
//     states    tableSize * 1
template <class T, class K, class H>
class CHashTable
{
public:
    using Container = CHashedContainerStat<T, K, H>;

    enum State : unsigned char
    {
        stateFree = 0,    // never used since the last clearing
        stateUsed = 1,    // holds a live T
        stateDeleted = 2, // its T was destroyed; the key is still there
    };

    // For `maxElements` rows: the size is the first prime of at least one and a half times as many, and there
    // is room for a row in every slot.
    explicit CHashTable(unsigned int maxElements)
        : tableSize(tableSizeFor(maxElements)),
          m_bucketShift(64 - static_cast<unsigned int>(std::bit_width(tableSize)) - 1),
          m_plan(hashPlanOf(tableSize))
    {
        allocate();
    }
    ~CHashTable() { destroy(); }

    CHashTable(CHashTable const &) = delete;
    CHashTable & operator=(CHashTable const &) = delete;

    // Destroys all rows and gives the storage back: the end of the table.
    void destroy()
    {
        if (!rows)
            return;
        destroyElements();
        ::operator delete(rows, alignment);
        rows = nullptr;
    }

    // Destroys all rows; the storage stays.
    void destroyElements()
    {
        settle();
        bool const anyDeleted = m_free + count != tableSize;
        State const * at = m_states;
        for (; count != 0; --count) {
            at = static_cast<State const *>(
                std::memchr(at, stateUsed, static_cast<std::size_t>(m_states + tableSize - at)));
            auto const slot = static_cast<unsigned int>(at - m_states);
            rowAt(slot)->T::~T();
            m_states[slot] = stateFree;
            *bucketOf(m_slots[slot].key) = none;
        }
        if (anyDeleted)
            clean();
        init();
    }

    // The slot for a key; see 1 above. It holds the key's row unless isEmpty(slot), and `maxSize()` says that
    // there is no room.
    unsigned int find(K const & key) const
    {
        unsigned int const slot = bearer(CKeyBits<K>(key));
        return slot != none ? slot : placeFor(key);
    }
    unsigned int find(T const & row) const { return find(getKey(row)); }

    // The slot that holds the key's row, `none` if there is no such row.
    unsigned int findUsed(K const & key) const
    {
        unsigned int const slot = bearer(CKeyBits<K>(key));
        return slot != none && m_slots[slot].row != none ? slot : none;
    }

    // Takes the slot that find gave for a key into use, and yields raw storage in which the caller constructs
    // the row of that key. Several can be taken before any of their rows is constructed, but all of them must
    // be before the table is asked anything else.
    T * alloc(unsigned int slot)
    {
        if (m_states[slot] != stateFree)
            unfile(slot);
        m_slots[slot].next = m_unfiled;
        m_unfiled = slot;
        T * const row = storage();
        take(slot);
        return row;
    }
    // The same, and constructs the row from the other arguments. Nothing has changed if that throws.
    template <class... Arguments>
    T * alloc(unsigned int slot, Container * const & parent, unsigned short const & id, K const & key,
              Arguments const &... arguments)
    {
        T * const row = new (storage()) T(parent, id, key, arguments...);
        if (m_states[slot] != stateFree)
            unfile(slot);
        file(slot, key);
        take(slot);
        return row;
    }

    // Destroys the slot's row. The slot keeps its key.
    void free(unsigned int slot)
    {
        settle();
        rowAt(slot)->T::~T();
        m_vacated[m_vacatedCount++] = m_slots[slot].row;
        m_slots[slot].row = none;
        m_states[slot] = stateDeleted;
        --count;
    }

    // The row of a slot, with no check of state or range.
    T & operator[](unsigned int slot) { return *rowAt(slot); }
    T const & operator[](unsigned int slot) const { return *rowAt(slot); }

    bool isEmpty(unsigned int slot) const { return m_states[slot] != stateUsed; }
    State state(unsigned int slot) const { return m_states[slot]; }
    unsigned int size() const { return count; }
    unsigned int maxSize() const { return tableSize; }

    // The key within a row.
    static K const & getKey(T const & row) { return row.rowKey(); }
    static bool keyCompare(K const & left, K const & right)
    {
        return CKeyBits<K>(left) == CKeyBits<K>(right);
    }
    static bool keyCompare(T const & left, K const & right) { return keyCompare(getKey(left), right); }

    static constexpr unsigned int none = ~0U;

private:
    struct CSlot
    {
        CKeyBits<K> key;
        unsigned int row;  // number of the row's storage, `none` unless the slot is used
        unsigned int next; // in the bucket of the index
    };

    static constexpr unsigned int tableSizeFor(unsigned int maxElements)
    {
        unsigned int const wanted = maxElements * 3 / 2;
        for (unsigned int const prime : tablePrimes)
            if (prime >= wanted)
                return prime;
        return wanted;
    }

    static constexpr std::align_val_t alignment{64};

    static std::size_t aligned(std::size_t bytes) { return (bytes + 63) & ~std::size_t{63}; }

    unsigned int buckets() const { return 1U << (64 - m_bucketShift); }

    void allocate()
    {
        std::size_t const rowBytes = aligned(sizeof(T) * tableSize);
        std::size_t const slotBytes = aligned(sizeof(CSlot) * tableSize);
        std::size_t const headBytes = aligned(sizeof(unsigned int) * buckets());
        std::size_t const vacatedBytes = aligned(sizeof(unsigned int) * tableSize);
        auto * block = static_cast<unsigned char *>(
            ::operator new(rowBytes + slotBytes + headBytes + vacatedBytes + tableSize, alignment));
        rows = reinterpret_cast<T *>(block);
        m_slots = reinterpret_cast<CSlot *>(block += rowBytes);
        m_heads = reinterpret_cast<unsigned int *>(block += slotBytes);
        m_vacated = reinterpret_cast<unsigned int *>(block += headBytes);
        m_states = reinterpret_cast<State *>(block + vacatedBytes);
        clean();
        init();
    }

    // Puts states and index as they are in a table without slots in use.
    void clean()
    {
        std::memset(m_heads, 0xFF, sizeof(unsigned int) * buckets());
        std::memset(m_states, stateFree, tableSize);
    }

    // All slots free and no row, destroying nothing.
    void init()
    {
        count = 0;
        m_free = tableSize;
        m_handedOut = 0;
        m_vacatedCount = 0;
        m_unfiled = none;
    }

    T * rowAt(unsigned int slot) const { return rows + m_slots[slot].row; }

    unsigned int * bucketOf(CKeyBits<K> const & key) const
    {
        return m_heads + (key.mix(m_factors) >> m_bucketShift);
    }

    // The slot that bears the key, used or deleted; `none` if there is none.
    unsigned int bearer(CKeyBits<K> const & key) const
    {
        const_cast<CHashTable *>(this)->settle();
        unsigned int slot = *bucketOf(key);
        while (slot != none && !(m_slots[slot].key == key))
            slot = m_slots[slot].next;
        return slot;
    }

    // Where a key goes that no slot bears.
    unsigned int placeFor(K const & key) const
    {
        if (count == tableSize)
            return tableSize;
        unsigned int const start = startOf(key);
        if (m_states[start] == stateFree)
            return start;
        unsigned int const step = stepOf(key);
        unsigned int reusable = m_states[start] == stateDeleted ? start : none;
        for (unsigned int slot = start; m_free != 0 || reusable == none;) {
            slot = slot + step < tableSize ? slot + step : slot + step - tableSize;
            if (m_states[slot] == stateFree)
                return slot;
            if (m_states[slot] == stateDeleted && reusable == none)
                reusable = slot;
        }
        return reusable;
    }

    unsigned int startOf(K const & key) const
    {
        if constexpr (requires { H::hash(key, *m_plan); })
            if (m_plan)
                return H::hash(key, *m_plan);
        return H::hash(key, tableSize);
    }

    unsigned int stepOf(K const & key) const
    {
        if constexpr (requires { H::rehash(key, *m_plan); })
            if (m_plan)
                return H::rehash(key, *m_plan);
        return H::rehash(key, tableSize);
    }

    // Where the next row goes.
    T * storage() const { return rows + nextRow(); }
    unsigned int nextRow() const { return m_vacatedCount != 0 ? m_vacated[m_vacatedCount - 1] : m_handedOut; }

    // Marks the slot used, with that storage as its row.
    void take(unsigned int slot)
    {
        if (m_states[slot] == stateFree)
            --m_free;
        m_states[slot] = stateUsed;
        m_slots[slot].row = nextRow();
        ++count;
        if (m_vacatedCount != 0)
            --m_vacatedCount;
        else
            ++m_handedOut;
    }

    // Enters the key in the slot and in the index.
    void file(unsigned int slot, K const & key)
    {
        CSlot & target = m_slots[slot];
        target.key = CKeyBits<K>(key);
        unsigned int * const bucket = bucketOf(target.key);
        target.next = *bucket;
        *bucket = slot;
    }

    // Takes the key that a slot bears out of the index.
    void unfile(unsigned int slot)
    {
        unsigned int * link = bucketOf(m_slots[slot].key);
        while (*link != slot)
            link = &m_slots[*link].next;
        *link = m_slots[slot].next;
    }

    // Files the rows that callers of the plain alloc() constructed, which tell their keys only now.
    void settle()
    {
        while (m_unfiled != none)
            [[unlikely]]
            {
                unsigned int const slot = m_unfiled;
                m_unfiled = m_slots[slot].next;
                file(slot, getKey(*rowAt(slot)));
            }
    }

    T * rows = nullptr;
    unsigned int count = 0; // slots in state used
    unsigned int tableSize;
    unsigned int m_free = 0; // slots in state free
    unsigned int m_handedOut = 0;
    unsigned int m_vacatedCount = 0;
    unsigned int m_bucketShift;
    unsigned int m_unfiled = none; // first of the slots whose keys weren't told yet; see settle
    CHashPlan const * m_plan;
    CIndexFactors const & m_factors = indexFactors();
    CSlot * m_slots = nullptr;
    unsigned int * m_heads = nullptr;
    unsigned int * m_vacated = nullptr;
    State * m_states = nullptr;
};

} // namespace KetStats
