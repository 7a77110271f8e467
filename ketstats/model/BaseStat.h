#pragma once

#include "ketstats/model/statvalues.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

class CFilter;

namespace KetStats {

// The classes of the columns of a group, in their order.
template <class...>
struct CColumnList;

class CStatDescription;
class CValueStatDescription;
class CStructStatDescription;
class CDynamicArrayStatDescription;

// A node of the statistic tree. It knows its parent, its id below it, a shared static description that says
// what its value means, and one flag: `changed` says that the value differs from what was last sent or
// sampled. The value itself is added by derived classes.
//
// 1. Nodes are members of their parents or rows inside a table; none is allocated or deleted alone.
// 2. A node with a plain-memory value states its size in `valueSize`, and everything that works on values
//    does so on those bytes with no virtual call. A node with `valueSize` 0 works through its do* operations.
// 3. Parent, depth and description are fixed at construction. An id is never 0.
//
// Nodes have no lock: access to the live tree goes through the manager's gate, a snapshot belongs to one
// thread.
class KETSTATS_API CBaseStat
{
public:
    // The order of two nodes of one dynamic type: -1 if this one comes first, 1 if it comes behind, else 0.
    virtual int collate(CBaseStat const & other) const = 0;

    virtual void resetChanged();
    virtual void setChanged();
    virtual bool checkChanged() const;

    // The child at `index`, from 0; null if there is none.
    virtual CBaseStat * getChild(unsigned int index) = 0;
    virtual unsigned int getChildrenCount() const = 0;

    // The node that the components of `oid` from `position` on lead to; null if they lead nowhere. Callers
    // start at 1 on the root, whose own component is never compared.
    virtual CBaseStat * getStatPointer(COid const & oid, unsigned int position);

    // Appends the value. With `onlyChanged` the flag is lowered, and containers write changed children only.
    void packValue(ktools::CMemoryBuffer & buffer, bool onlyChanged);
    // Reads a value that packValue wrote, and raises the flag. A short buffer throws out of
    // CMemoryBuffer::Read with the value of the node that was being read unchanged.
    void unpackValue(ktools::CMemoryBuffer & buffer);
    // The four below expect a node of the same dynamic type.
    // Takes the other's value and raises the flag.
    void assign(CBaseStat const & other);
    // Byte order, -1, 0 or 1: a test for equality. On a little-endian machine it is not the order of numbers;
    // whoever sorts uses collate.
    int compare(CBaseStat const & other) const;
    // Takes the other's value; the flag, and the result, say afresh whether it differed.
    bool compareAssign(CBaseStat const & other);
    // Zeroes the value; the flag stays.
    void reset();

    COid getOid() const;
    CBaseStat const * getParent() const { return parent; }
    unsigned short getId() const { return id; }
    // Null for a node that was made without one.
    CStatDescription const * getDescription() const { return description; }
    // This node's own flag as it stands.
    bool isChanged() const { return changed; }
    void resetId(unsigned short newId) { id = newId; }
    // Raises, or lowers, this node's own flag, and no other.
    void markChanged(bool on = true) { changed = on; }

    // The child with that id, null if there is none.
    CBaseStat * getChildById(unsigned short childId);
    CBaseStat const * getChildById(unsigned short childId) const;
    CBaseStat const * getChild(unsigned int index) const
    {
        return const_cast<CBaseStat *>(this)->getChild(index);
    }

    // The value as its description reads it; see CStatDescription.
    bool isNumeric() const;
    double getNumeric() const;
    bool isString() const;
    std::string getString() const;

    // Whether a node of that class begins with its part that is a CBaseStat, as children of groups must.
    template <class Node>
    static constexpr bool isAtStartOf();

protected:
    // A node without a place in a tree: no description, no parent, id 0. Copying a node takes nothing from
    // it, because a place in a tree isn't a value.
    CBaseStat();
    CBaseStat(CBaseStat const &);
    CBaseStat(CBaseStat * theParent, unsigned short theId, CStatDescription const & theDescription,
              unsigned int theValueSize)
        : description(&theDescription),
          id(theId),
          changed(true),
          depth(static_cast<unsigned char>(theParent ? theParent->depth + 1 : 1)),
          valueSize(theValueSize),
          parent(theParent)
    {}
    CBaseStat & operator=(CBaseStat const &) = delete;
    ~CBaseStat() = default;

    virtual void doUnpackValue(ktools::CMemoryBuffer & buffer) = 0;
    virtual void doPackValue(ktools::CMemoryBuffer & buffer, bool onlyChanged) = 0;
    virtual void doAssign(CBaseStat const & other) = 0;
    virtual void doReset() = 0;
    virtual int doCompare(CBaseStat const & other) const = 0;
    virtual bool doCompareAssign(CBaseStat const & other) = 0;

    // In an order that leaves no gaps: there are many nodes.
    CStatDescription const * description; // not owned, lives as long as the library
    unsigned short id;
    bool changed;
    unsigned char depth; // nodes from the root down to this one: 1 for a root
    unsigned int valueSize;
    CBaseStat * parent; // not owned, null for a root
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored                                                                               \
    "-Winvalid-offsetof" // known for classes without virtual bases, which nodes are
template <class Node>
constexpr bool CBaseStat::isAtStartOf()
{
    return offsetof(Node, valueSize) == offsetof(CBaseStat, valueSize);
}
#pragma GCC diagnostic pop

// A leaf whose value is `valueSize` bytes of plain memory within the same object, at any alignment. A detached
// leaf has no value: it takes none, none is taken from it, and it comes first in comparisons.
class KETSTATS_API CBaseValueStat : public CBaseStat
{
public:
    using CBaseStat::getChild;
    CBaseStat * getChild(unsigned int index) override;
    unsigned int getChildrenCount() const override;

    // As those of CBaseStat, without the test for a plain value.
    void packValue(ktools::CMemoryBuffer & buffer, bool onlyChanged);
    void unpackValue(ktools::CMemoryBuffer & buffer);
    // Unlike CBaseStat::assign this leaves the flag alone, and doAssign does too: whoever holds a leaf as
    // such and wants the flag raised must raise it.
    void assign(CBaseStat const & other);
    int compare(CBaseStat const & other) const;
    void reset();

protected:
    CBaseValueStat() = default;
    CBaseValueStat(CBaseValueStat const & other) = default;
    CBaseValueStat(CBaseStat * theParent, unsigned short theId, CValueStatDescription const & theDescription,
                   unsigned int theValueSize, void * theValue);
    ~CBaseValueStat() = default;

    void doUnpackValue(ktools::CMemoryBuffer & buffer) override;
    void doPackValue(ktools::CMemoryBuffer & buffer, bool onlyChanged) override;
    void doAssign(CBaseStat const & other) override;
    void doReset() override;
    int doCompare(CBaseStat const & other) const override;
    bool doCompareAssign(CBaseStat const & other) override;

    bool compareAssignBytes(CBaseStat const & other);

    void * value = nullptr;

    friend class CBaseStat;
};

// Plain values are 2, 4, 6 or 8 bytes, and the loops over them are hot: these give the compiler the sizes.
namespace plain {

inline void copy(void * target, void const * source, unsigned int size)
{
    switch (size) {
    case 8:
        std::memcpy(target, source, 8);
        break;
    case 4: {
        // The one kind of value that can be stored while it is copied: see CValueStat::storeShared. What is
        // stored so is aligned.
        unsigned int value;
        if (reinterpret_cast<std::uintptr_t>(source) % std::atomic_ref<unsigned int>::required_alignment ==
            0) {
            auto & word = *static_cast<unsigned int *>(const_cast<void *>(source));
            value = std::atomic_ref<unsigned int>(word).load(std::memory_order_relaxed);
        } else {
            std::memcpy(&value, source, sizeof value);
        }
        std::memcpy(target, &value, sizeof value);
        break;
    }
    case 6:
        std::memcpy(target, source, 6);
        break;
    case 2:
        std::memcpy(target, source, 2);
        break;
    default:
        std::memcpy(target, source, size);
    }
}

inline bool equal(void const * left, void const * right, unsigned int size)
{
    switch (size) {
    case 8:
        return std::memcmp(left, right, 8) == 0;
    case 4:
        return std::memcmp(left, right, 4) == 0;
    case 6:
        return std::memcmp(left, right, 6) == 0;
    case 2:
        return std::memcmp(left, right, 2) == 0;
    default:
        return std::memcmp(left, right, size) == 0;
    }
}

inline int order(void const * left, void const * right, unsigned int size)
{
    int const result = std::memcmp(left, right, size);
    return result < 0 ? -1 : result > 0 ? 1 : 0;
}

} // namespace plain

inline void CBaseValueStat::packValue(ktools::CMemoryBuffer & buffer, bool onlyChanged)
{
    buffer.Write(value, static_cast<int>(valueSize));
    if (onlyChanged)
        changed = false;
}

inline void CBaseValueStat::unpackValue(ktools::CMemoryBuffer & buffer)
{
    buffer.Read(value, static_cast<int>(valueSize));
    changed = true;
}

inline void CBaseValueStat::assign(CBaseStat const & other)
{
    void const * const source = static_cast<CBaseValueStat const &>(other).value;
    if (value && source)
        plain::copy(value, source, valueSize);
}

inline int CBaseValueStat::compare(CBaseStat const & other) const
{
    void const * const theirs = static_cast<CBaseValueStat const &>(other).value;
    if (!value || !theirs)
        return (value != nullptr) - (theirs != nullptr);
    return plain::order(value, theirs, valueSize);
}

inline bool CBaseValueStat::compareAssignBytes(CBaseStat const & other)
{
    void const * const source = static_cast<CBaseValueStat const &>(other).value;
    changed = value && source && !plain::equal(value, source, valueSize);
    if (changed)
        plain::copy(value, source, valueSize);
    return changed;
}

inline void CBaseValueStat::reset()
{
    if (value)
        std::memset(value, 0, valueSize);
}

inline void CBaseStat::packValue(ktools::CMemoryBuffer & buffer, bool onlyChanged)
{
    if (valueSize != 0)
        static_cast<CBaseValueStat *>(this)->packValue(buffer, onlyChanged);
    else
        doPackValue(buffer, onlyChanged);
}

inline void CBaseStat::unpackValue(ktools::CMemoryBuffer & buffer)
{
    if (valueSize != 0)
        static_cast<CBaseValueStat *>(this)->unpackValue(buffer);
    else
        doUnpackValue(buffer);
}

inline void CBaseStat::assign(CBaseStat const & other)
{
    if (valueSize != 0)
        static_cast<CBaseValueStat *>(this)->assign(other);
    else
        doAssign(other);
    changed = true;
}

inline int CBaseStat::compare(CBaseStat const & other) const
{
    return valueSize != 0 ? static_cast<CBaseValueStat const *>(this)->compare(other) : doCompare(other);
}

inline bool CBaseStat::compareAssign(CBaseStat const & other)
{
    return valueSize != 0 ? static_cast<CBaseValueStat *>(this)->compareAssignBytes(other)
                          : doCompareAssign(other);
}

inline void CBaseStat::reset()
{
    if (valueSize != 0)
        static_cast<CBaseValueStat *>(this)->reset();
    else
        doReset();
}

} // namespace KetStats
