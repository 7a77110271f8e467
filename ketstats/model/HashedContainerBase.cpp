#include "ketstats/model/HashedContainerBase.h"

namespace KetStats {

CSpareStorage * CBaseHashedContainerStat::spareStorageFor(CBaseStat const * theParent)
{
    CBaseStat const * const outer = theParent ? theParent->getParent() : nullptr;
    auto const * const container = dynamic_cast<CBaseHashedContainerStat const *>(outer);
    return container ? &const_cast<CBaseHashedContainerStat *>(container)->m_spareStorage : nullptr;
}

void CBaseHashedContainerStat::refuseLimit()
{
    ktools::raise<CException>(2, "StatTypes", 1220);
}

void CBaseHashedContainerStat::initlist()
{
    freeIdx = limit;
    oldest = limit;
    newest = limit;
    m_listed = 0;
    m_rowCount = 0;
    summaryRow = nullptr;
}

bool CBaseHashedContainerStat::isFull() const
{
    bool const noIndexLeft = summaryRow ? m_rowCount == limit : m_rowCount + 1 >= limit;
    return noIndexLeft && freeIdx == limit;
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

unsigned int CBaseHashedContainerStat::getNextNewerId(unsigned int rowId) const
{
    return rowId <= limit && rowById(rowId) ? idOf(childList[rowId - 1].newer) : 0;
}

void CBaseHashedContainerStat::enter(unsigned int index, unsigned int hashIndex, CBaseStat * row)
{
    for (; m_listed <= index; ++m_listed)
        childList[m_listed] = {nullptr, 0, limit, limit};
    childList[index].child = row;
    childList[index].hashIndex = hashIndex;
    linkAsNewest(index);
}

void CBaseHashedContainerStat::removeChildFromList(unsigned int index)
{
    unlink(index);
    childList[index] = {nullptr, 0, limit, limit};
}

CBaseStat * CBaseHashedContainerStat::getChild(unsigned int index)
{
    return index < m_rowCount ? childAt(index) : nullptr;
}

void CBaseHashedContainerStat::resetChanged()
{
    changed = false;
    for (unsigned int index = oldest; index != limit; index = childList[index].newer)
        childList[index].child->resetChanged();
}

void CBaseHashedContainerStat::setChanged()
{
    changed = true;
    for (unsigned int index = oldest; index != limit; index = childList[index].newer)
        childList[index].child->setChanged();
}

bool CBaseHashedContainerStat::checkChanged() const
{
    for (unsigned int index = oldest; index != limit; index = childList[index].newer)
        static_cast<void>(childList[index].child->checkChanged());
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
    CBaseStat * const row = childAt(component - 1);
    if (!row || position == oid.length())
        return row;
    return row->getStatPointer(oid, position);
}

// Two walks that start crossed, each at the index of the other container's oldest row, and then follow their
// own list. For containers in step that makes no difference. The counts and the ends come last and first as
// they do, so that two equal containers yield -1: this comparison never reports equality, and nothing may
// rely on it to.
int CBaseHashedContainerStat::doCompare(CBaseStat const & other) const
{
    auto const & theirs = static_cast<CBaseHashedContainerStat const &>(other);
    if (m_rowCount != theirs.m_rowCount)
        return static_cast<int>(m_rowCount - theirs.m_rowCount);
    unsigned int a = theirs.oldest;
    unsigned int b = oldest;
    // A start at an index that is vacant here ends the walk.
    while (childAt(a) && theirs.childAt(b)) {
        if (int const order = childAt(a)->compare(*theirs.childAt(b)))
            return order;
        a = childList[a].newer;
        b = theirs.childList[b].newer;
    }
    if (b == limit)
        return -1;
    return a == limit ? 1 : 0;
}

int CBaseHashedContainerStat::collate(CBaseStat const & other) const
{
    auto const & theirs = static_cast<CBaseHashedContainerStat const &>(other);
    unsigned int a = theirs.oldest;
    unsigned int b = oldest;
    while (childAt(a) && theirs.childAt(b)) {
        if (int const order = childAt(a)->collate(*theirs.childAt(b)))
            return order;
        a = childList[a].newer;
        b = theirs.childList[b].newer;
    }
    bool const ended = a == limit;
    bool const theirsEnded = b == limit;
    return ended == theirsEnded ? 0 : ended ? -1 : 1;
}

} // namespace KetStats
