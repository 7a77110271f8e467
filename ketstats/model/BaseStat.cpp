#include "ketstats/model/BaseStat.h"

#include <vector>

namespace KetStats {

CBaseStat::CBaseStat() : description(nullptr), id(0), changed(true), depth(1), valueSize(0), parent(nullptr)
{}

CBaseStat::CBaseStat(CBaseStat const & /*other*/) : CBaseStat() {}

void CBaseStat::resetChanged()
{
    changed = false;
}

void CBaseStat::setChanged()
{
    changed = true;
}

bool CBaseStat::checkChanged() const
{
    return changed;
}

CBaseStat * CBaseStat::getStatPointer(COid const & oid, unsigned int position)
{
    return position == oid.length() ? this : nullptr;
}

COid CBaseStat::getOid() const
{
    std::vector<unsigned short> components(depth);
    CBaseStat const * node = this;
    for (auto component = components.rbegin(); component != components.rend(); ++component) {
        *component = node->id;
        node = node->parent;
    }
    return {components.data(), components.data() + components.size()};
}

CBaseStat * CBaseStat::getChildById(unsigned short childId)
{
    unsigned int const count = getChildrenCount();
    for (unsigned int index = 0; index < count; ++index) {
        CBaseStat * const child = getChild(index);
        if (child && child->id == childId)
            return child;
    }
    return nullptr;
}

CBaseStat const * CBaseStat::getChildById(unsigned short childId) const
{
    return const_cast<CBaseStat *>(this)->getChildById(childId);
}

CBaseStat * CBaseValueStat::getChild(unsigned int /*index*/)
{
    return nullptr;
}

unsigned int CBaseValueStat::getChildrenCount() const
{
    return 0;
}

void CBaseValueStat::doUnpackValue(ktools::CMemoryBuffer & buffer)
{
    unpackValue(buffer);
}

void CBaseValueStat::doPackValue(ktools::CMemoryBuffer & buffer, bool onlyChanged)
{
    packValue(buffer, onlyChanged);
}

void CBaseValueStat::doAssign(CBaseStat const & other)
{
    assign(other);
}

void CBaseValueStat::doReset()
{
    reset();
}

int CBaseValueStat::doCompare(CBaseStat const & other) const
{
    return compare(other);
}

bool CBaseValueStat::doCompareAssign(CBaseStat const & other)
{
    return compareAssignBytes(other);
}

} // namespace KetStats
