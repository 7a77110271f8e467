#include "ketstats/model/HashedContainerBase.h"

#include "ketstats/model/RowCounts.h"

#include <atomic>

namespace KetStats {

void CBaseHashedContainerStat::refuseLimit()
{
    ktools::raise<CException>(2, "StatTypes", 1220);
}

CRowLink * CBaseHashedContainerStat::noLinks()
{
    static CRowLink link{};
    return &link;
}

bool CBaseHashedContainerStat::isFull() const
{
    bool const noIndexLeft = summaryRow ? m_rowCount == limit : m_rowCount + 1 >= limit;
    return noIndexLeft && freeIdx == limit;
}

std::uint64_t CBaseHashedContainerStat::firstVersion()
{
    static std::atomic<std::uint64_t> tables{0};
    return (tables.fetch_add(1, std::memory_order_relaxed) + 1) << 32;
}

unsigned int CBaseHashedContainerStat::touchedSince(std::uint64_t since) const
{
    // Of versions further apart than that the low bits don't tell which is the later one.
    constexpr std::uint64_t farthest = std::uint64_t{1} << 31;
    if (m_lent || m_touchedInPlace > since || m_version - since >= farthest)
        return m_rowCount;
    if (m_version == since)
        return 0;
    unsigned int count = 0;
    for (unsigned int rowId = getNewestId(); rowId != 0; rowId = m_links[rowId].older) {
        auto const later =
            static_cast<std::int32_t>(m_links[rowId].touched - static_cast<std::uint32_t>(since));
        // The newest row may have been renewed since it came there.
        if (count != 0 && later <= 0)
            break;
        ++count;
    }
    return count;
}

void CBaseHashedContainerStat::addLost(CLedger const & counts)
{
    touch();
    add(m_ledger, counts);
}

unsigned int CBaseHashedContainerStat::getFreeIdx()
{
    if (isFull())
        return limit;
    if (freeIdx == limit)
        return m_rowCount;
    unsigned int const index = freeIdx;
    freeIdx = limit;
    return index;
}

// Rows stand elsewhere than at the first indices after two deletions in a row, beside a summary row that was
// made early, and where a transfer brought them. That is rare enough to look through all of them.
unsigned int CBaseHashedContainerStat::vacantIndex() const
{
    if (isFull())
        return limit;
    unsigned int const next = freeIdx != limit ? freeIdx : m_rowCount;
    if (next < limit && !childOf(next + 1))
        return next;
    for (unsigned int index = 0; index + 1 < limit; ++index)
        if (!childOf(index + 1))
            return index;
    return limit;
}

CBaseStat * CBaseHashedContainerStat::getChild(unsigned int index)
{
    m_lent = true;
    return index < m_rowCount ? childOf(index + 1) : nullptr;
}

void CBaseHashedContainerStat::resetChanged()
{
    changed = false;
    for (unsigned int rowId = getOldestId(); rowId != 0; rowId = m_links[rowId].newer)
        m_rows[rowId]->resetChanged();
}

void CBaseHashedContainerStat::setChanged()
{
    changed = true;
    for (unsigned int rowId = getOldestId(); rowId != 0; rowId = m_links[rowId].newer)
        m_rows[rowId]->setChanged();
}

bool CBaseHashedContainerStat::checkChanged() const
{
    for (unsigned int rowId = getOldestId(); rowId != 0; rowId = m_links[rowId].newer)
        static_cast<void>(m_rows[rowId]->checkChanged());
    return changed;
}

// The test is against the number of rows, not the limit: on a container that isn't full an id above that
// number can't be reached by an identifier.
CBaseStat * CBaseHashedContainerStat::getStatPointer(COid const & oid, unsigned int position)
{
    if (position >= oid.length())
        return nullptr;
    unsigned int const component = oid[position++];
    if (component == 0 || component > m_rowCount)
        return nullptr;
    m_lent = true;
    CBaseStat * const row = childOf(component);
    if (!row || position == oid.length())
        return row;
    return row->getStatPointer(oid, position);
}

// Two walks that start crossed, each at the id of the other container's oldest row, and then follow their
// own list. For containers in step that makes no difference. The counts and the ends come last and first as
// they do, so that two equal containers yield -1: this comparison never reports equality, and nothing may
// rely on it to.
int CBaseHashedContainerStat::doCompare(CBaseStat const & other) const
{
    auto const & theirs = static_cast<CBaseHashedContainerStat const &>(other);
    if (m_rowCount != theirs.m_rowCount)
        return static_cast<int>(m_rowCount - theirs.m_rowCount);
    unsigned int a = theirs.getOldestId();
    unsigned int b = getOldestId();
    // A start at an id that no row has here ends the walk.
    while (childOf(a) && theirs.childOf(b)) {
        if (int const order = childOf(a)->compare(*theirs.childOf(b)))
            return order;
        a = m_links[a].newer;
        b = theirs.m_links[b].newer;
    }
    if (b == 0)
        return -1;
    return a == 0 ? 1 : 0;
}

int CBaseHashedContainerStat::collate(CBaseStat const & other) const
{
    auto const & theirs = static_cast<CBaseHashedContainerStat const &>(other);
    unsigned int a = theirs.getOldestId();
    unsigned int b = getOldestId();
    while (childOf(a) && theirs.childOf(b)) {
        if (int const order = childOf(a)->collate(*theirs.childOf(b)))
            return order;
        a = m_links[a].newer;
        b = theirs.m_links[b].newer;
    }
    bool const ended = a == 0;
    bool const theirsEnded = b == 0;
    return ended == theirsEnded ? 0 : ended ? -1 : 1;
}

} // namespace KetStats
