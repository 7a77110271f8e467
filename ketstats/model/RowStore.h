#pragma once

#include "ketstats/model/RowIndex.h"

#include <cstddef>
#include <new>
#include <type_traits>

namespace KetStats {

// Raw storage for the rows of one table, taken as rows come. It knows nothing of the rows: whoever takes a
// place constructs a row there, and destroys it before giving the place back.
//
// 1. A place never moves, and a place that was given back is the next one handed out.
// 2. Memory is taken in chunks, each as large as all before it up to a bound, and given back at the end only.
//    So a table of two rows takes little more than two rows, and one of thousands takes its memory in blocks
//    of some ten thousand bytes.
// 3. take() throws std::bad_alloc with nothing changed.
template <class T>
class CRowStore
{
public:
    CRowStore() = default;
    CRowStore(CRowStore const &) = delete;
    CRowStore & operator=(CRowStore const &) = delete;
    ~CRowStore()
    {
        while (m_chunks) {
            CChunk * const chunk = m_chunks;
            m_chunks = chunk->next;
            ::operator delete(chunk, alignment);
        }
    }

    // A place for one row, of `most` that are in use at once.
    void * take(unsigned int most)
    {
        if (m_vacant) {
            CVacant * const place = m_vacant;
            m_vacant = place->next;
            return place;
        }
        if (m_next == m_end)
            addChunk(most);
        void * const place = m_next;
        m_next += sizeof(T);
        return place;
    }

    // What it takes at most for so many rows.
    static constexpr std::size_t largestBytes(std::size_t rows)
    {
        std::size_t const doublings = static_cast<std::size_t>(std::bit_width(rows));
        return rows * sizeof(T) + (doublings + rows / mostInChunk) * (headBytes + allocationBytes);
    }

    void give(void * place) noexcept { m_vacant = new (place) CVacant{m_vacant}; }

private:
    struct CVacant
    {
        CVacant * next;
    };
    struct CChunk
    {
        CChunk * next;
    };

    static constexpr std::align_val_t alignment{alignof(T) > alignof(CVacant) ? alignof(T)
                                                                              : alignof(CVacant)};
    static constexpr std::size_t headBytes = (sizeof(CChunk) + static_cast<std::size_t>(alignment) - 1) &
                                             ~(static_cast<std::size_t>(alignment) - 1);
    static constexpr std::size_t mostBytes = 64 << 10; // of a chunk
    static constexpr unsigned int mostInChunk =
        sizeof(T) * 2 < mostBytes ? static_cast<unsigned int>(mostBytes / sizeof(T)) : 2;
    static constexpr unsigned int leastInChunk = 2;
    static_assert(sizeof(T) >= sizeof(CVacant), "a vacant place holds a link");

    void addChunk(unsigned int most)
    {
        unsigned int rows = m_places < leastInChunk ? leastInChunk : m_places;
        if (rows > mostInChunk)
            rows = mostInChunk;
        if (m_places < most && rows > most - m_places)
            rows = most - m_places;
        auto * const block =
            static_cast<unsigned char *>(::operator new(headBytes + sizeof(T) * rows, alignment));
        m_chunks = new (block) CChunk{m_chunks};
        m_next = block + headBytes;
        m_end = m_next + sizeof(T) * rows;
        m_places += rows;
    }

    CVacant * m_vacant = nullptr;
    unsigned char * m_next = nullptr; // first place of the last chunk that was never handed out
    unsigned char * m_end = nullptr;
    CChunk * m_chunks = nullptr;
    unsigned int m_places = 0; // in all chunks
};

} // namespace KetStats
