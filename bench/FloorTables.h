#pragma once

#include <nmmintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Bounded tables as plain as they can be, of fixed size and for one thread: what counting in rows costs at the least.
namespace floorcount {

struct alignas(64) Row
{
    std::uint64_t low, high; // the key
    std::uint64_t counts[4];
    std::uint64_t first, last; // when it was met
};

// The order in which rows were met last, by links of row numbers.
template <unsigned int Rows>
class Recency
{
public:
    static constexpr std::uint16_t none = 0xFFFF;

    void clear() { m_newest = m_oldest = none; }
    std::uint16_t oldest() const { return m_oldest; }
    std::uint16_t newest() const { return m_newest; }
    std::uint16_t older(unsigned int row) const { return m_links[row].older; }

    void add(unsigned int row)
    {
        m_links[row] = {none, m_newest};
        (m_newest == none ? m_oldest : m_links[m_newest].newer) = static_cast<std::uint16_t>(row);
        m_newest = static_cast<std::uint16_t>(row);
    }
    void remove(unsigned int row)
    {
        Link const link = m_links[row];
        (link.newer == none ? m_newest : m_links[link.newer].older) = link.older;
        (link.older == none ? m_oldest : m_links[link.older].newer) = link.newer;
    }
    void renew(unsigned int row)
    {
        if (m_newest == row)
            return;
        remove(row);
        add(row);
    }

private:
    struct Link
    {
        std::uint16_t newer, older;
    };

    Link m_links[Rows];
    std::uint16_t m_newest = none;
    std::uint16_t m_oldest = none;
};

// Open addressing: a slot has 16 bits of the hash and the number of the row, from 1.
template <unsigned int Rows, bool Wide>
class Index
{
public:
    static constexpr unsigned int none = ~0U;

    static std::uint32_t hash(std::uint64_t low, std::uint64_t high)
    {
        std::uint64_t const first = _mm_crc32_u64(0x9E3779B9, low);
        return static_cast<std::uint32_t>(Wide ? _mm_crc32_u64(first, high) : first);
    }

    void clear() { std::memset(m_slots, 0, sizeof m_slots); }

    unsigned int find(Row const * rows, std::uint64_t low, std::uint64_t high, std::uint32_t hashed) const
    {
        for (std::uint32_t place = home(hashed);; place = (place + 1) & mask) {
            std::uint32_t const slot = m_slots[place];
            if (slot == 0)
                return none;
            unsigned int const row = (slot & 0xFFFF) - 1;
            if (slot >> 16 == hashed >> 16 && rows[row].low == low && (!Wide || rows[row].high == high))
                return row;
        }
    }
    void add(std::uint32_t hashed, unsigned int row)
    {
        std::uint32_t place = home(hashed);
        while (m_slots[place] != 0)
            place = (place + 1) & mask;
        m_slots[place] = (hashed >> 16 << 16) | (row + 1);
    }
    // Moves what stands behind it up, so that no search ends too early.
    void remove(Row const * rows, unsigned int row)
    {
        std::uint32_t place = home(hash(rows[row].low, rows[row].high));
        while ((m_slots[place] & 0xFFFF) != row + 1)
            place = (place + 1) & mask;
        std::uint32_t hole = place;
        for (;;) {
            place = (place + 1) & mask;
            std::uint32_t const slot = m_slots[place];
            if (slot == 0)
                break;
            Row const & other = rows[(slot & 0xFFFF) - 1];
            std::uint32_t const wanted = home(hash(other.low, other.high));
            if (((place - wanted) & mask) >= ((place - hole) & mask)) {
                m_slots[hole] = slot;
                hole = place;
            }
        }
        m_slots[hole] = 0;
    }

private:
    static constexpr std::uint32_t places = std::bit_ceil(Rows * 2 + 8);
    static constexpr std::uint32_t mask = places - 1;

    static std::uint32_t home(std::uint32_t hashed) { return (hashed ^ (hashed >> 15)) & mask; }

    std::uint32_t m_slots[places];
};

template <unsigned int Rows, bool Wide = false>
class Table
{
public:
    void clear()
    {
        m_index.clear();
        m_recency.clear();
        m_freeCount = Rows;
        for (unsigned int i = 0; i < Rows; ++i)
            m_free[i] = static_cast<std::uint16_t>(Rows - 1 - i);
    }

    // The row of that key as the newest, the oldest one's place if there is no other.
    unsigned int meet(std::uint64_t low, std::uint64_t high, std::uint64_t time, bool & isNew)
    {
        std::uint32_t const hashed = m_index.hash(low, high);
        unsigned int const row = m_index.find(m_rows, low, high, hashed);
        isNew = row == m_index.none;
        if (isNew)
            return insert(low, high, hashed, time);
        m_recency.renew(row);
        m_rows[row].last = time;
        return row;
    }
    Row & row(unsigned int number) { return m_rows[number]; }
    Row & meet(std::uint64_t low, std::uint64_t high, std::uint64_t time)
    {
        bool isNew;
        return m_rows[meet(low, high, time, isNew)];
    }
    void erase(unsigned int row)
    {
        m_index.remove(m_rows, row);
        m_recency.remove(row);
        m_free[m_freeCount++] = static_cast<std::uint16_t>(row);
    }

    template <class Visit>
    void fromNewest(Visit const & visit) const
    {
        for (unsigned int row = m_recency.newest(); row != m_recency.none; row = m_recency.older(row))
            visit(m_rows[row]);
    }

private:
    [[gnu::noinline]] unsigned int insert(std::uint64_t low, std::uint64_t high, std::uint32_t hashed,
                                          std::uint64_t time)
    {
        unsigned int row;
        if (m_freeCount != 0) {
            row = m_free[--m_freeCount];
        } else {
            row = m_recency.oldest();
            m_index.remove(m_rows, row);
            m_recency.remove(row);
        }
        m_rows[row] = {low, high, {}, time, time};
        m_recency.add(row);
        m_index.add(hashed, row);
        return row;
    }

    Index<Rows, Wide> m_index;
    Recency<Rows> m_recency;
    Row m_rows[Rows];
    std::uint16_t m_free[Rows];
    unsigned int m_freeCount = 0;
};

} // namespace floorcount
