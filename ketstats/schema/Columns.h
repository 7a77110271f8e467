#pragma once

#include "ketstats/model/StatTypes.h"
#include "ketstats/schema/TableLimits.h"
#include "ketstats/text/StatDescription.h"

// How the concrete tree is written down: as data. A group lists its children once, a line each:
//
//     #define COLUMNS(COLUMN)
//         COLUMN(1, sampleNumber,    Counter<1101, Unit::sample>)
//         COLUMN(2, transmittedData, Bytes<1102>)
//
//     id under the group, name of the data member, kind of column<string resource of the name, unit>
//
// and KETSTATS_COLUMNS(Class, COLUMNS) within the class makes of it the data members, the table of children,
// and the array of descriptions. The ids must count from 1 in the order of the lines.
namespace KetStats::schema {

// First string resource of each unit: singular, plural and abbreviation stand there in a row.
namespace Unit {
constexpr unsigned int byte = 1169;
constexpr unsigned int entity = 1179;
constexpr unsigned int bandwidth = 1185;
constexpr unsigned int sample = 1191;
constexpr unsigned int frame = 1195;
constexpr unsigned int percent = 1198;
constexpr unsigned int framesPerSecond = 1202;
} // namespace Unit

// A column that is a leaf. One description serves every column of a kind that stands at the same place.
template <class NodeType, class Description, unsigned int... Resources>
struct CLeafColumn
{
    using Node = NodeType;

    template <unsigned short Id>
    static CStatDescription const & description()
    {
        return leafDescription<Id>();
    }

    template <unsigned short Id>
    static Node make(CBaseStat * parent)
    {
        return Node(parent, Id, leafDescription<Id>());
    }

private:
    template <unsigned short Id>
    static Description const & leafDescription()
    {
        static Description const theDescription(Resources...);
        return theDescription;
    }
};

// The limits of the tree that `node` is in, which also hold for the tables within its rows. Those of the
// library for a node outside of a tree.
KETSTATS_API CTableLimits const & limitsAround(CBaseStat const * node);

// A column that is a table of rows, with its limit.
template <class Row, unsigned int Name, unsigned int CTableLimits::*Limit>
struct CTableColumn
{
    using Node = typename Row::Container;

    template <unsigned short Id>
    static CStatDescription const & description()
    {
        return tableDescription<Id>();
    }

    template <unsigned short Id>
    static Node make(CBaseStat * parent)
    {
        return Node(parent, Id, tableDescription<Id>(), limitsAround(parent).*Limit);
    }

private:
    template <unsigned short Id>
    static CDynamicArrayStatDescription const & tableDescription()
    {
        static CDynamicArrayStatDescription const theDescription(Name, &Row::groupDescription());
        return theDescription;
    }
};

// A column that is a group of a class of its own.
template <class Group>
struct CGroupColumn
{
    using Node = Group;

    template <unsigned short Id>
    static CStatDescription const & description()
    {
        return Group::groupDescription();
    }

    template <unsigned short Id>
    static Node make(CBaseStat * parent)
    {
        return Node(parent, Id);
    }
};

template <unsigned int Name, unsigned int Unit>
using Counter = CLeafColumn<CValueStat<unsigned int>, CIntegerStatDescription<unsigned int>, Name, Unit>;
template <unsigned int Name, unsigned int Unit>
using Ratio = CLeafColumn<CValueStat<percentVal>, CNumericStatDescription<percentVal>, Name, Unit>;
template <unsigned int Name>
using Bytes = CLeafColumn<CValueStat<long long>, CIntegerStatDescription<long long>, Name, Unit::byte>;
template <unsigned int Name>
using Text = CLeafColumn<CStringStat, CStringStatDescription, Name>;

template <unsigned int Name>
using MacAddress = CLeafColumn<CValueStat<CMACAddrPacked>, CMACAddressStatDescription, Name>;
template <unsigned int Name>
using IpAddress = CLeafColumn<CValueStat<CIPAddress>, CIPAddressStatDescription, Name>;
template <unsigned int Name>
using IPv6Address = CLeafColumn<CValueStat<CIPv6Address>, CIPv6AddressStatDescription, Name>;
template <unsigned int Name>
using ProtocolId = CLeafColumn<CValueStat<CProtocolIdPacked>, CProtocolIdStatDescription, Name>;

// Columns that several tables have.
using Percentage = Ratio<1131, Unit::percent>;
using DataTransmitted = Bytes<1156>;
using FramesTransmitted = Counter<1157, Unit::frame>;
using AverageFrameSize = Counter<1158, Unit::byte>;
using DataReceived = Bytes<1162>;
using FramesReceived = Counter<1163, Unit::frame>;

// A group that describes no selection of traffic has no filter.
class KETSTATS_API CUnfilteredContainerStat : public CBaseStaticContainerStat
{
public:
    using CBaseStaticContainerStat::CBaseStaticContainerStat;
    CFilter * buildFilter() const override;

protected:
    ~CUnfilteredContainerStat() = default;
};

} // namespace KetStats::schema

#define KETSTATS_COLUMN_POSITION(ID, MEMBER, ...) position_##MEMBER,
#define KETSTATS_COLUMN_CHECK(ID, MEMBER, ...)                                                               \
    static_assert(position_##MEMBER == (ID), "children are numbered from 1 in table order");
#define KETSTATS_COLUMN_MEMBER(ID, MEMBER, ...)                                                              \
    typename __VA_ARGS__::Node MEMBER = __VA_ARGS__::template make<ID>(this);
#define KETSTATS_COLUMN_CHILD(ID, MEMBER, ...) childPointer(&Self::MEMBER),
#define KETSTATS_COLUMN_DESCRIPTION(ID, MEMBER, ...) &__VA_ARGS__::template description<ID>(),

#define KETSTATS_COLUMN_NODE(ID, MEMBER, ...) typename __VA_ARGS__::Node,
#define KETSTATS_COLUMN_VISIT(ID, MEMBER, ...)                                                               \
    visit(std::integral_constant<unsigned int, ID>(), &Self::MEMBER);

// Within a concrete container: its members, its table of children, and the null-terminated array of their
// descriptions.
#define KETSTATS_COLUMNS(CLASS, COLUMNS)                                                                     \
public:                                                                                                      \
    COLUMNS(KETSTATS_COLUMN_MEMBER)                                                                          \
                                                                                                             \
    using CBaseStat::getChild;                                                                               \
    ::KetStats::CBaseStat * getChild(unsigned int index) override                                            \
    {                                                                                                        \
        return index < columnCount ? &(this->*getChildren()[index]) : nullptr;                               \
    }                                                                                                        \
    unsigned int getChildrenCount() const override                                                           \
    {                                                                                                        \
        return columnCount;                                                                                  \
    }                                                                                                        \
                                                                                                             \
    static ::KetStats::CStructStatDescription::Children columnDescriptions()                                 \
    {                                                                                                        \
        static ::KetStats::CStatDescription const * const descriptions[] = {                                 \
            COLUMNS(KETSTATS_COLUMN_DESCRIPTION) nullptr};                                                   \
        return descriptions;                                                                                 \
    }                                                                                                        \
                                                                                                             \
    /* The columns for whoever knows the class: their nodes' classes, and each with its id and its member */ \
    using ColumnNodes = ::KetStats::CColumnList<COLUMNS(KETSTATS_COLUMN_NODE) void>;                         \
    template <class Visit>                                                                                   \
    static constexpr void forEachColumn(Visit && visit)                                                      \
    {                                                                                                        \
        COLUMNS(KETSTATS_COLUMN_VISIT)                                                                       \
    }                                                                                                        \
                                                                                                             \
protected:                                                                                                   \
    ChildPointer * getChildren() override                                                                    \
    {                                                                                                        \
        static ChildPointer table[] = {COLUMNS(KETSTATS_COLUMN_CHILD)};                                      \
        return table;                                                                                        \
    }                                                                                                        \
    using CBaseStaticContainerStat::getChildren;                                                             \
                                                                                                             \
private:                                                                                                     \
    using Self = CLASS;                                                                                      \
    enum ColumnPosition : unsigned int                                                                       \
    {                                                                                                        \
        position_none,                                                                                       \
        COLUMNS(KETSTATS_COLUMN_POSITION) columnEnd,                                                         \
        columnCount = columnEnd - 1                                                                          \
    };                                                                                                       \
    COLUMNS(KETSTATS_COLUMN_CHECK)
