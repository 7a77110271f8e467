#pragma once

#include "ketstats/model/Ledger.h"
#include "ketstats/model/RowIndex.h"
#include "ketstats/snapshot/SampledVersion.h"

#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

namespace KetStats {

// What a table had counted at a zero point: of each row its key, its birth and its counters, and nothing else;
// and its ledger then, with the counts of its rows added.
template <class T>
class CTableZero
{
public:
    using Key = std::remove_cvref_t<decltype(std::declval<T const &>().rowKey())>;
    static constexpr bool bothWays = requires(T const & row) { row.framesReceived; };

    struct CSent
    {
        std::uint64_t birth = 0;
        long long dataTransmitted = 0;
        unsigned int framesTransmitted = 0;
    };
    struct CSentAndReceived : CSent
    {
        unsigned int framesReceived = 0;
        long long dataReceived = 0;
    };
    struct CRow : std::conditional_t<bothWays, CSentAndReceived, CSent>
    {
        Key key{};
        // A row that had counted no frame takes nothing off, whatever bytes it had.
        bool counted = false;
    };

    // What it takes at most, of a table of that limit.
    static constexpr std::size_t largestMemory(unsigned int limit)
    {
        return limit * sizeof(CRow) + allocationBytes;
    }

    // Takes what stands in the table now.
    void take(typename T::Container const & live);
    // Knows of nothing that was counted.
    void clear();

    // The row of an id that had counted something; null if there is none.
    CRow * row(unsigned int id)
    {
        return id != 0 && id <= m_rows.size() && m_rows[id - 1].counted ? &m_rows[id - 1] : nullptr;
    }

    // What was sampled against this zero point.
    CSampledVersion sampled;

    CLedger const & ledger() const { return m_ledger; }
    // Whether the table is the one that this was taken of: a reset ends that.
    bool isOf(typename T::Container const & live) const { return m_taken && live.resets() == m_resets; }

private:
    std::vector<CRow> m_rows; // by id
    CLedger m_ledger;
    unsigned int m_resets = 0;
    bool m_taken = false;
};

} // namespace KetStats
