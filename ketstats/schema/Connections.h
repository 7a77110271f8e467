#pragma once

#include "ketstats/schema/Columns.h"

namespace KetStats {

namespace schema {

// What tells the rows of one kind of address from those of another.
struct KETSTATS_TYPE CMACTraffic
{
    using Address = CMACAddr;
    using Packed = CMACAddrPacked;
    template <unsigned int Name>
    using Column = MacAddress<Name>;
    static constexpr unsigned int name = 1146;
    static constexpr bool hasOthers = false;
};

struct KETSTATS_TYPE CIPTraffic
{
    using Address = CIPAddress;
    using Packed = CIPAddress;
    template <unsigned int Name>
    using Column = IpAddress<Name>;
    static constexpr unsigned int name = 1147;
    static constexpr bool hasOthers = true; // a receiver keeps a row of the others
};

template <class Traffic, unsigned int Name>
using AddressOf = typename Traffic::template Column<Name>;

} // namespace schema

// The source, then the destination. Neither the key nor its equality sorts or swaps them. It is packed and
// hashed as it lies.
template <class Traffic>
struct KETSTATS_TYPE CConnectionKey
{
    using Address = typename Traffic::Address;

    CConnectionKey() = default;
    CConnectionKey(Address const & from, Address const & to) : first(from), second(to) {}
    void update(Address const & from, Address const & to)
    {
        first = from;
        second = to;
    }
    friend bool operator==(CConnectionKey const &, CConnectionKey const &) = default;
    void packValue(ktools::CMemoryBuffer & buffer) const { buffer.Write(this, sizeof *this); }
    void unpackValue(ktools::CMemoryBuffer & buffer) { buffer.Read(this, sizeof *this); }

    typename Traffic::Packed first;
    typename Traffic::Packed second;
};

// The rows of "MAC traffic" and "IP traffic", one per ordered pair of addresses: the two directions of a
// conversation are two rows. "Source" and "Destination" are what a client reads and what travels; the table
// searches by `key`, which holds the same two addresses. Every path that writes those children ends with
// updateKey or its like; unpacking and assigning do so here. A changed-only transfer can bring only some of
// the children, and the key is then rebuilt from whatever they hold.
template <class Traffic>
class KETSTATS_TEMPLATE CGenConnectionStat : public CBaseStaticContainerStat
{
public:
    using CKey = CConnectionKey<Traffic>;
    using CHasher = CWordHasher<CKey>;
    using Container = CHashedContainerStat<CGenConnectionStat, CKey, CHasher>;

    CGenConnectionStat(CBaseStat * theParent, unsigned short theId);
    CGenConnectionStat(CBaseStat * theParent, unsigned short theId, CKey const & theKey);

    static CStructStatDescription const & groupDescription();
    CFilter * buildFilter() const override;
    CKey const & rowKey() const { return key; }
    void takeKey(CKey const & theKey);
    // Whether a row of that key under the last id is that of the others.
    static bool isOthers(CKey const & theKey) requires(Traffic::hasOthers) { return theKey == CKey(); }

    // The key takes the children's addresses, and the other way round.
    void updateKey();
    void fromKey();

    // clang-format off
#define COLUMNS(COLUMN)                                             \
    COLUMN(1, source,            schema::AddressOf<Traffic, 1154>)  \
    COLUMN(2, destination,       schema::AddressOf<Traffic, 1155>)  \
    COLUMN(3, dataTransmitted,   schema::DataTransmitted)           \
    COLUMN(4, framesTransmitted, schema::FramesTransmitted)         \
    COLUMN(5, averageFrameSize,  schema::AverageFrameSize)          \
    COLUMN(6, percentage,        schema::Percentage)
    KETSTATS_COLUMNS(CGenConnectionStat, COLUMNS)
#undef COLUMNS
    // clang-format on

public:
    CKey key;

protected:
    void doUnpackValue(ktools::CMemoryBuffer & buffer) override;
    void doAssign(CBaseStat const & other) override;
};

using CMACConnectionStat = CGenConnectionStat<schema::CMACTraffic>;
using CIPConnectionStat = CGenConnectionStat<schema::CIPTraffic>;

static_assert(sizeof(CMACConnectionStat::CKey) == 12 && sizeof(CIPConnectionStat::CKey) == 8,
              "keys are packed and hashed as they lie, with nothing between their fields");

// An IP address and the MAC address first seen for it: a row of "ARP connections". The key is the second
// child.
class KETSTATS_API CARPStat : public CBaseStaticContainerStat
{
public:
    using CHasher = CWordHasher<CIPAddress>;
    using Container = CHashedContainerStat<CARPStat, CIPAddress, CHasher>;

    CARPStat(CBaseStat * theParent, unsigned short theId);
    CARPStat(CBaseStat * theParent, unsigned short theId, CIPAddress const & key);
    CARPStat(CBaseStat * theParent, unsigned short theId, CIPAddress const & key,
             CMACAddrPacked const & address);

    static CStructStatDescription const & groupDescription();
    CFilter * buildFilter() const override;
    CIPAddress const & rowKey() const { return ipAddress.get(); }
    void takeKey(CIPAddress const & key) { ipAddress = key; }

    // clang-format off
#define COLUMNS(COLUMN)                                     \
    COLUMN(1, macAddress, schema::MacAddress<1152>)         \
    COLUMN(2, ipAddress,  schema::IpAddress<1153>)
    KETSTATS_COLUMNS(CARPStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

KETSTATS_EXTERN_TEMPLATE(CGenConnectionStat<schema::CMACTraffic>);
KETSTATS_EXTERN_TEMPLATE(CGenConnectionStat<schema::CIPTraffic>);
KETSTATS_EXTERN_TEMPLATE(
    CHashedContainerStat<CMACConnectionStat, CMACConnectionStat::CKey, CMACConnectionStat::CHasher>);
KETSTATS_EXTERN_TEMPLATE(
    CHashedContainerStat<CIPConnectionStat, CIPConnectionStat::CKey, CIPConnectionStat::CHasher>);
KETSTATS_EXTERN_TEMPLATE(CHashedContainerStat<CARPStat, CIPAddress, CARPStat::CHasher>);

} // namespace KetStats
