#pragma once

#include "ketstats/model/BaseStat.h"

#include <span>

namespace KetStats {

// A group of statistics that are all known at compile time. The children are data members of the concrete
// class, and one static table lists them; every value operation is a loop over that table, so that a concrete
// class declares members, table and filter and writes no code for transfers. Groups aren't copied: what they are
// is their place in a tree, and assign() takes the values.
//
// Packed form, repeated for groups within groups:
//
//     { child id (2, never 0)  child value (as the child packs itself) }  0 (2)
//
// 1. Child ids within a group are unique and never 0. The order of the table is the order of the packed form,
//    and a reader only searches forward. Ids 1, 2, 3 in table order make walks by identifier fast.
// 2. A pack of changed children skips a group whose own flag is down, whatever its children's flags say. So a
//    group's flag must be up whenever a child's is; doCompareAssign sees to that.
class KETSTATS_API CBaseStaticContainerStat : public CBaseStat
{
public:
    CBaseStaticContainerStat(CBaseStat * theParent, unsigned short theId,
                             CStructStatDescription const & theDescription);

    int collate(CBaseStat const & other) const override;
    void resetChanged() override;
    void setChanged() override;
    // This group's own flag; the children are asked too, and their answers don't alter it.
    bool checkChanged() const override;
    CBaseStat * getStatPointer(COid const & oid, unsigned int position) override;

    // A filter that selects the traffic of this node, which the caller owns; null if there is no such filter.
    [[nodiscard]] virtual CFilter * buildFilter() const = 0;

protected:
    // Names one child of a concrete class, on any object of that class.
    using ChildPointer = CBaseStat CBaseStaticContainerStat::*;

    CBaseStaticContainerStat() = default;
    CBaseStaticContainerStat(CBaseStaticContainerStat const &) = delete;
    ~CBaseStaticContainerStat() = default;

    virtual ChildPointer * getChildren() = 0;
    ChildPointer const * getChildren() const;

    // Throws CMemoryBuffer::CException 2/283 for an id that isn't among the children behind the last one
    // read. The children read so far keep their new values then.
    void doUnpackValue(ktools::CMemoryBuffer & buffer) override;
    void doPackValue(ktools::CMemoryBuffer & buffer, bool onlyChanged) override;
    void doAssign(CBaseStat const & other) override;
    void doReset() override;
    int doCompare(CBaseStat const & other) const override;
    bool doCompareAssign(CBaseStat const & other) override;

    // The table entry of a data member. The member is seen as its CBaseStat part, which stands at its start,
    // so that the two pointers are the same displacement; the language only has no name for that conversion.
    template <class Class, class Member>
    static ChildPointer childPointer(Member Class::*member)
    {
        static_assert(CBaseStat::isAtStartOf<Member>(), "a child begins with its CBaseStat");
        return reinterpret_cast<ChildPointer>(member);
    }

private:
    std::span<ChildPointer const> children() const { return {getChildren(), getChildrenCount()}; }

    // A call of a virtual function goes through these: compilers may take what such a pointer names for an
    // object of no derived class.
    CBaseStat & own(ChildPointer child) { return this->*child; }
    CBaseStat const & own(ChildPointer child) const { return this->*child; }
    CBaseStat const & sameChild(CBaseStat const & other, ChildPointer child) const
    {
        return static_cast<CBaseStaticContainerStat const &>(other).*child;
    }
};

} // namespace KetStats
