#pragma once

#include "ketstats/model/statvalues.h"
#include "ketstats/platform/Exports.h"
#include "ketstats/text/StatFormat.h"

#include <atomic>
#include <string>

namespace KetStats {

class CBaseStat;
class CStatFormatContainerBase;

// What a kind of statistic means: its display name, its id under its parent, the descriptions below it, and
// how its value is read. One static object describes every node of a kind, so all rows of a table share one.
//
// 1. A description outlives every node that it describes; it lives as long as the library.
// 2. Under a group, the sub-description at index i has the id i + 1, and so has the child at index i. The
//    group writes these ids when it is built.
// 3. Names and units come from string resources and are fetched when they are first asked for, so that
//    whoever never asks pays nothing. Threads that ask at once wait for one another then.
class KETSTATS_API CStatDescription
{
public:
    enum StatType : unsigned int
    {
        stNone,
        stValue,        // a leaf
        stStruct,       // a group
        stTable,        // a group whose children are rows of one kind
        stDynamicArray, // a table whose rows appear at run time
    };

    // Descriptions aren't copied in earnest, here and in every class below: a copy is unnamed, and assignment does
    // nothing.
    CStatDescription() = default;
    CStatDescription(CStatDescription const &) {}
    CStatDescription & operator=(CStatDescription const &) { return *this; }

    // The display name; "Unknown statistic" if its resource is missing.
    std::string const & getStringDescription() const;
    unsigned short getOid() const { return oid.load(std::memory_order_relaxed); }
    unsigned int getSubStatsCount() const { return subStatsCount; }
    StatType getStatType() const { return statType; }

    // Names the description of a node that was made without one. There is no object behind the reference.
    static CStatDescription & GetNull();

    // The description below at `index`, null if there is none.
    virtual CStatDescription const * subStatDescription(unsigned int index) const;

    // The formats that the value can be shown in; `index` is below the count.
    virtual unsigned int getFormatCount() const;
    virtual CStatFormatBase const * getFormat(unsigned int index) const;

    // Whether the value reads as a number, an integer, a text, and what it reads. The node must be one of the
    // kind that this description describes, which isn't checked.
    virtual bool isNumeric() const;
    virtual double getNumeric(CBaseStat const * stat) const;
    virtual bool isInteger() const;
    virtual long long getInteger(CBaseStat const * stat) const;
    virtual bool isString() const;
    virtual std::string getString(CBaseStat const * stat) const;

    // The value as text in that format. It never fails: what can't be shown gives an error text. `context` is
    // handed to the format.
    virtual std::string formatValue(CBaseStat const * stat, unsigned int formatIndex, void * context) const;

protected:
    CStatDescription(unsigned int theNameResourceId, StatType theStatType, unsigned short theOid);
    CStatDescription(std::string const & theName, StatType theStatType, unsigned short theOid);

    StatType statType = stNone;
    // Groups that are built on several threads at once write the same number to what they share.
    mutable std::atomic<unsigned short> oid = 0;
    unsigned int subStatsCount = 0;
    mutable unsigned int nameResourceId = 0; // 0 once the name is there
    mutable std::string name;

    friend class CStructStatDescription;

private:
    void resetID(unsigned short newOid) const { oid.store(newOid, std::memory_order_relaxed); }

    static CStatDescription * d;
};

// A leaf. It offers the formats of the two lists of its kind, the standard ones first and the host's behind
// them.
class KETSTATS_API CValueStatDescription : public CStatDescription
{
public:
    explicit CValueStatDescription(unsigned int theNameResourceId);
    explicit CValueStatDescription(std::string const & theName);
    CValueStatDescription & operator=(CValueStatDescription const &) { return *this; }

    // Always vtNone: the format decides how a value is shown, never its description.
    CStatFormatBase::ValueType getValueType() const { return valueType; }

    unsigned int getFormatCount() const override;
    CStatFormatBase const * getFormat(unsigned int index) const override;

protected:
    CValueStatDescription() = default;
    CValueStatDescription(CValueStatDescription const &) : CValueStatDescription() {}

    virtual CStatFormatContainerBase const * getFormats() const = 0;
    virtual CStatFormatContainerBase const * getCustomFormats() const = 0;

    CStatFormatBase::ValueType valueType = CStatFormatBase::vtNone;
};

// A leaf with a unit in the singular, the plural and short: "byte", "bytes", "B".
class KETSTATS_API CNumericStatDescriptionBase : public CValueStatDescription
{
public:
    // The plural stands at the resource behind that of the unit, the abbreviation at the one after.
    CNumericStatDescriptionBase(unsigned int theNameResourceId, unsigned int theUnitResourceId);
    CNumericStatDescriptionBase(std::string const & theName, std::string const & theUnit,
                                std::string const & theUnits, std::string const & theAbbrev);
    CNumericStatDescriptionBase & operator=(CNumericStatDescriptionBase const &) { return *this; }

    // A missing resource reads "Unknown format name" here, unlike a missing name. That is meant.
    std::string const & getUnit() const;
    std::string const & getUnits() const;
    std::string const & getAbbrev() const;

    bool isNumeric() const override;

protected:
    CNumericStatDescriptionBase() = default;
    CNumericStatDescriptionBase(CNumericStatDescriptionBase const &) : CNumericStatDescriptionBase() {}

    mutable std::string unit;
    mutable std::string units;
    mutable std::string abbrev;
    mutable unsigned int unitResourceId = 0; // 0 once the three are there

private:
    void loadUnits() const;
};

// What each kind of leaf makes of the operations of a value description. It stands at the end of the class, or
// before what is private.
#define KETSTATS_FORMATS_OF_KIND                                                                             \
public:                                                                                                      \
    std::string formatValue(CBaseStat const * stat, unsigned int formatIndex, void * context)                \
        const override;                                                                                      \
                                                                                                             \
protected:                                                                                                   \
    CStatFormatContainerBase const * getFormats() const override;                                            \
    CStatFormatContainerBase const * getCustomFormats() const override;

// Reads a CValueStat<T> as a number.
template <class T>
class KETSTATS_TEMPLATE CNumericStatDescription : public CNumericStatDescriptionBase
{
public:
    CNumericStatDescription(unsigned int theNameResourceId, unsigned int theUnitResourceId);
    CNumericStatDescription() = default;
    CNumericStatDescription(CNumericStatDescription const & other) = default;
    CNumericStatDescription & operator=(CNumericStatDescription const &) { return *this; }

    // Descriptions aren't compared in earnest.
    bool operator==(CNumericStatDescription const &) const { return false; }

    double getNumeric(CBaseStat const * stat) const override;
    // Through a format for floating-point numbers, or for integers; an integer format reads 0 unless the
    // value is described as an integer too. That is meant.
    KETSTATS_FORMATS_OF_KIND
};

// Reads a CValueStat<T> as an integer too.
template <class T>
class KETSTATS_TEMPLATE CIntegerStatDescription : public CNumericStatDescription<T>
{
public:
    CIntegerStatDescription(unsigned int theNameResourceId, unsigned int theUnitResourceId);

    bool isInteger() const override;
    long long getInteger(CBaseStat const * stat) const override;
    // As an integer, whatever the kind of the format.
    KETSTATS_FORMATS_OF_KIND

private:
    CIntegerStatDescription() = default;
    CIntegerStatDescription(CIntegerStatDescription const & other) = default;
    CIntegerStatDescription & operator=(CIntegerStatDescription const &) { return *this; }
};

class KETSTATS_API CStringStatDescription : public CValueStatDescription
{
public:
    using CValueStatDescription::CValueStatDescription;

    bool isString() const override;
    std::string getString(CBaseStat const * stat) const override;
    KETSTATS_FORMATS_OF_KIND
};

class KETSTATS_API CMACAddressStatDescription : public CValueStatDescription
{
public:
    using CValueStatDescription::CValueStatDescription;

    KETSTATS_FORMATS_OF_KIND
};

class KETSTATS_API CIPAddressStatDescription : public CValueStatDescription
{
public:
    using CValueStatDescription::CValueStatDescription;

    // The address 0 stands for no single address and reads "[others]" in every format.
    KETSTATS_FORMATS_OF_KIND
};

class KETSTATS_API CIPv6AddressStatDescription : public CValueStatDescription
{
public:
    using CValueStatDescription::CValueStatDescription;

    // The address :: stands for no single address and reads "[others]" in every format.
    KETSTATS_FORMATS_OF_KIND
};

class KETSTATS_API CProtocolIdStatDescription : public CValueStatDescription
{
public:
    using CValueStatDescription::CValueStatDescription;

    // The six bytes as one big-endian number.
    KETSTATS_FORMATS_OF_KIND
};

#undef KETSTATS_FORMATS_OF_KIND

// A group. `children` is a null-terminated array that outlives the description; building the group writes the
// ids 1, 2, 3 ... into them.
class KETSTATS_API CStructStatDescription : public CStatDescription
{
public:
    using Children = CStatDescription const * const *;

    CStructStatDescription(unsigned int theNameResourceId, Children theChildren);
    // Of stTable kind: all children are rows described like `row`.
    CStructStatDescription(unsigned int theNameResourceId, Children theChildren,
                           CStatDescription const * row);
    // For a root, which has an id of its own.
    CStructStatDescription(unsigned int theNameResourceId, Children theChildren, unsigned short theOid);

    CStructStatDescription(CStructStatDescription const &) : CStatDescription() {}
    CStructStatDescription & operator=(CStructStatDescription const &) { return *this; }

    CStatDescription const * subStatDescription(unsigned int index) const override;

    // Null but for the stTable kind.
    CStatDescription const * getRowDescription() const { return rowDescription; }

private:
    void build();

    Children children = nullptr;
    CStatDescription const * rowDescription = nullptr;
};

// A table; its one sub-description is that of every row.
class KETSTATS_API CDynamicArrayStatDescription : public CStatDescription
{
public:
    CDynamicArrayStatDescription(unsigned int theNameResourceId, CStatDescription const * row);
    CDynamicArrayStatDescription(CDynamicArrayStatDescription const &) : CStatDescription() {}
    CDynamicArrayStatDescription & operator=(CDynamicArrayStatDescription const &) { return *this; }

    CStatDescription const * subStatDescription(unsigned int index) const override;

private:
    CStatDescription const * rowDescription = nullptr;
};

KETSTATS_EXTERN_TEMPLATE(CNumericStatDescription<percentVal>);
KETSTATS_EXTERN_TEMPLATE(CNumericStatDescription<unsigned short>);
KETSTATS_EXTERN_TEMPLATE(CNumericStatDescription<unsigned int>);
KETSTATS_EXTERN_TEMPLATE(CNumericStatDescription<long long>);
KETSTATS_EXTERN_TEMPLATE(CIntegerStatDescription<unsigned short>);
KETSTATS_EXTERN_TEMPLATE(CIntegerStatDescription<unsigned int>);
KETSTATS_EXTERN_TEMPLATE(CIntegerStatDescription<long long>);

} // namespace KetStats
