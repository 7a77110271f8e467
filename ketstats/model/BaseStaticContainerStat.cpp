#include "ketstats/model/BaseStaticContainerStat.h"

namespace KetStats {

namespace {

constexpr unsigned short endMark = 0;

} // namespace

CBaseStaticContainerStat::ChildPointer const * CBaseStaticContainerStat::getChildren() const
{
    return const_cast<CBaseStaticContainerStat *>(this)->getChildren();
}

int CBaseStaticContainerStat::collate(CBaseStat const & other) const
{
    for (ChildPointer const child : children())
        if (int const order = own(child).collate(sameChild(other, child)))
            return order;
    return 0;
}

void CBaseStaticContainerStat::resetChanged()
{
    for (ChildPointer const child : children())
        own(child).resetChanged();
    changed = false;
}

void CBaseStaticContainerStat::setChanged()
{
    for (ChildPointer const child : children())
        own(child).setChanged();
    changed = true;
}

bool CBaseStaticContainerStat::checkChanged() const
{
    for (ChildPointer const child : children())
        static_cast<void>(own(child).checkChanged());
    return changed;
}

void CBaseStaticContainerStat::doPackValue(ktools::CMemoryBuffer & buffer, bool onlyChanged)
{
    for (ChildPointer const pointer : children()) {
        CBaseStat & child = own(pointer);
        if (onlyChanged && !child.isChanged())
            continue;
        unsigned short const childId = child.getId();
        buffer.Write(&childId, sizeof childId);
        child.packValue(buffer, onlyChanged);
    }
    buffer.Write(&endMark, sizeof endMark);
    if (onlyChanged)
        changed = false;
}

void CBaseStaticContainerStat::doUnpackValue(ktools::CMemoryBuffer & buffer)
{
    auto const table = children();
    auto position = table.begin();
    for (;;) {
        unsigned short childId = 0;
        buffer.Read(&childId, sizeof childId);
        if (childId == endMark)
            break;
        while (position != table.end() && own(*position).getId() != childId)
            ++position;
        if (position == table.end())
            ktools::raise<ktools::CMemoryBuffer::CException>(2, "StatTypes", 283);
        own(*position).unpackValue(buffer);
        ++position;
    }
    changed = true;
}

void CBaseStaticContainerStat::doAssign(CBaseStat const & other)
{
    for (ChildPointer const child : children())
        own(child).assign(sameChild(other, child));
}

void CBaseStaticContainerStat::doReset()
{
    for (ChildPointer const child : children())
        own(child).reset();
}

int CBaseStaticContainerStat::doCompare(CBaseStat const & other) const
{
    for (ChildPointer const child : children())
        if (int const order = own(child).compare(sameChild(other, child)))
            return order;
    return 0;
}

bool CBaseStaticContainerStat::doCompareAssign(CBaseStat const & other)
{
    changed = false;
    for (ChildPointer const child : children())
        if (own(child).compareAssign(sameChild(other, child)))
            changed = true;
    return changed;
}

CBaseStat * CBaseStaticContainerStat::getStatPointer(COid const & oid, unsigned int position)
{
    CBaseStaticContainerStat * group = this;
    while (position < oid.length()) {
        unsigned short const component = oid[position++];
        // Children are numbered from 1 in table order as a rule, so the id names the index.
        CBaseStat * child = component != 0 ? group->getChild(component - 1U) : nullptr;
        if (!child || child->getId() != component)
            child = group->getChildById(component);
        if (!child || position == oid.length())
            return child;
        group = dynamic_cast<CBaseStaticContainerStat *>(child);
        if (!group)
            return child->getStatPointer(oid, position);
    }
    return position == oid.length() ? group : nullptr;
}

} // namespace KetStats
