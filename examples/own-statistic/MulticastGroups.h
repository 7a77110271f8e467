#pragma once

#include "ketstats/ketstats.h"
#include "ketstats/model/HashedContainerStatImpl.h"
#include "ketstats/schema/Columns.h"

// A tree of the host's own, which the library has no word for: multicasts of IP by the group that they are for. (The
// tables of addresses in the library count unicast frames alone.)
//
//     3      "IP multicasts"
//     3.1    "Frames"
//     3.2    "IPv4 groups"      a row for each
//     3.3    "IPv6 groups"
namespace multicast {

using namespace KetStats;

// A protocol of two bytes, as an Ethernet type.
CProtocolId protocolId(unsigned char high, unsigned char low);

// Names that the library's string table doesn't have are given to its descriptions by classes derived from them.
class CNamedGroup : public CStructStatDescription
{
public:
    CNamedGroup(char const * theName, Children theChildren, unsigned short theOid = 0)
        : CStructStatDescription(0U, theChildren, theOid)
    {
        name = theName;
    }
};

class CNamedTable : public CDynamicArrayStatDescription
{
public:
    CNamedTable(char const * theName, CStatDescription const * row) : CDynamicArrayStatDescription(0U, row)
    {
        name = theName;
    }
};

// A leaf says what it is by its class, so each name is one.
template <class Description>
class CGroupAddress : public Description
{
public:
    CGroupAddress() : Description("Group") {}
};

struct IPv4
{
    using Address = CIPAddress;
    using Column = schema::CLeafColumn<CValueStat<Address>, CGroupAddress<CIPAddressStatDescription>>;
    static constexpr char const * table = "IPv4 groups";
};

struct IPv6
{
    using Address = CIPv6Address;
    using Column = schema::CLeafColumn<CValueStat<Address>, CGroupAddress<CIPv6AddressStatDescription>>;
    static constexpr char const * table = "IPv6 groups";
};

// A row: what was sent to one group. The key is the address of the group.
template <class Family>
class CGroupStat : public CBaseStaticContainerStat
{
public:
    using Address = typename Family::Address;
    using CHasher = CWordHasher<Address>;
    using Container = CHashedContainerStat<CGroupStat, Address, CHasher>;

    CGroupStat(CBaseStat * theParent, unsigned short theId)
        : CBaseStaticContainerStat(theParent, theId, groupDescription())
    {}
    CGroupStat(CBaseStat * theParent, unsigned short theId, Address const & key)
        : CGroupStat(theParent, theId)
    {
        takeKey(key);
    }

    static CStructStatDescription const & groupDescription()
    {
        static CNamedGroup const description("Multicast group", columnDescriptions());
        return description;
    }
    CFilter * buildFilter() const override;
    Address const & rowKey() const { return group.get(); }
    void takeKey(Address const & key) { group = key; }

    // clang-format off
#define COLUMNS(COLUMN)                                      \
    COLUMN(1, group,             Family::Column)             \
    COLUMN(2, dataTransmitted,   schema::DataTransmitted)    \
    COLUMN(3, framesTransmitted, schema::FramesTransmitted)  \
    COLUMN(4, averageFrameSize,  schema::AverageFrameSize)   \
    COLUMN(5, percentage,        schema::Percentage)
    KETSTATS_COLUMNS(CGroupStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

// A column that is a table of such rows, with a limit of the host's own.
template <class Family, unsigned int Limit>
struct CGroupsColumn
{
    using Node = typename CGroupStat<Family>::Container;

    template <unsigned short Id>
    static CStatDescription const & description()
    {
        return tableDescription();
    }

    template <unsigned short Id>
    static Node make(CBaseStat * parent)
    {
        return Node(parent, Id, tableDescription(), Limit);
    }

private:
    static CDynamicArrayStatDescription const & tableDescription()
    {
        static CNamedTable const theDescription(Family::table, &CGroupStat<Family>::groupDescription());
        return theDescription;
    }
};

// The root of the tree.
class CMulticasts final : public schema::CUnfilteredContainerStat
{
public:
    static constexpr unsigned short rootId = 3;

    CMulticasts() : CUnfilteredContainerStat(nullptr, rootId, groupDescription()) {}

    static CStructStatDescription const & groupDescription()
    {
        static CNamedGroup const description("IP multicasts", columnDescriptions(), rootId);
        return description;
    }

    static constexpr unsigned int framesName = 1129; // "Frames", as the library calls them

    // clang-format off
#define COLUMNS(COLUMN)                                                        \
    COLUMN(1, frames,     schema::Counter<framesName, schema::Unit::frame>)    \
    COLUMN(2, ipv4Groups, CGroupsColumn<IPv4, 256>)                            \
    COLUMN(3, ipv6Groups, CGroupsColumn<IPv6, 256>)
    KETSTATS_COLUMNS(CMulticasts, COLUMNS)
#undef COLUMNS
    // clang-format on
};

} // namespace multicast
