#pragma once

#include <cstddef>
#include <new>
#include <vector>

namespace KetStats {

// Blocks of storage between two users. The rows of a table can bring tables of their own, which come and go
// with them; their blocks wait here, owned by the outer table. There are never more than were in use at once.
class CSpareStorage
{
public:
    CSpareStorage() = default;
    CSpareStorage(CSpareStorage const &) = delete;
    CSpareStorage & operator=(CSpareStorage const &) = delete;
    ~CSpareStorage()
    {
        for (CBlock const & block : m_blocks)
            release(block.start);
    }

    // A block of that size as it was given, null if there is none.
    void * take(std::size_t bytes)
    {
        if (m_blocks.empty() || m_blocks.back().bytes != bytes)
            return nullptr;
        void * const start = m_blocks.back().start;
        m_blocks.pop_back();
        return start;
    }

    // Keeps the block, or releases it if there is no memory to remember it.
    void give(void * start, std::size_t bytes) noexcept
    {
        try {
            m_blocks.push_back({start, bytes});
        } catch (std::bad_alloc const &) {
            release(start);
        }
    }

    // Blocks of the free store, aligned to cache lines.
    static void * obtain(std::size_t bytes) { return ::operator new(bytes, alignment); }
    static void release(void * start) noexcept { ::operator delete(start, alignment); }

private:
    struct CBlock
    {
        void * start;
        std::size_t bytes;
    };

    static constexpr std::align_val_t alignment{64};

    std::vector<CBlock> m_blocks;
};

} // namespace KetStats
