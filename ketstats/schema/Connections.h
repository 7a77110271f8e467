#pragma once

#include "ketstats/schema/Columns.h"

namespace KetStats {

// The rows of "MAC traffic" and "IP traffic", one per ordered pair of addresses: the two directions of a
// conversation are two rows. "Source" and "Destination" are what a client reads and what travels; the table
// searches by `key`, which holds the same two addresses. Every path that writes those children ends with
// updateKey or its like; unpacking and assigning do so here. A changed-only transfer can bring only some of
// the children, and the key is then rebuilt from whatever they hold.
class KETSTATS_API CMACConnectionStat : public CBaseStaticContainerStat
{
public:
    // The source, then the destination. Neither the key nor its equality sorts or swaps them.
    struct CKey
    {
        CKey() = default;
        CKey(CMACAddr const & from, CMACAddr const & to) : first(from), second(to) {}
        void update(CMACAddr const & from, CMACAddr const & to)
        {
            first = from;
            second = to;
        }
        void packValue(ktools::CMemoryBuffer & buffer) const { buffer.Write(this, sizeof *this); }
        void unpackValue(ktools::CMemoryBuffer & buffer) { buffer.Read(this, sizeof *this); }

        CMACAddrPacked first;
        CMACAddrPacked second;
    };
    using CHasher = CWordHasher<CKey>;
    using Container = CHashedContainerStat<CMACConnectionStat, CKey, CHasher>;

    CMACConnectionStat(CBaseStat * theParent, unsigned short theId);
    CMACConnectionStat(CBaseStat * theParent, unsigned short theId, CKey const & theKey);

    static CStructStatDescription const & groupDescription();
    CFilter * buildFilter() const override;
    CKey const & rowKey() const { return key; }
    void takeKey(CKey const & theKey);

    // The key takes the children's addresses, and the other way round.
    void updateKey();
    void fromKey();

    // clang-format off
#define COLUMNS(COLUMN)                                             \
    COLUMN(1, source,            schema::MacAddress<1154>)          \
    COLUMN(2, destination,       schema::MacAddress<1155>)          \
    COLUMN(3, dataTransmitted,   schema::DataTransmitted)           \
    COLUMN(4, framesTransmitted, schema::FramesTransmitted)         \
    COLUMN(5, averageFrameSize,  schema::AverageFrameSize)          \
    COLUMN(6, percentage,        schema::Percentage)
    KETSTATS_COLUMNS(CMACConnectionStat, COLUMNS)
#undef COLUMNS
    // clang-format on

public:
    CKey key;

protected:
    void doUnpackValue(ktools::CMemoryBuffer & buffer) override;
    void doAssign(CBaseStat const & other) override;
};

class KETSTATS_API CIPConnectionStat : public CBaseStaticContainerStat
{
public:
    // The source, then the destination.
    struct CKey
    {
        CKey() = default;
        CKey(CIPAddress const & from, CIPAddress const & to) : first(from), second(to) {}
        void update(CIPAddress const & from, CIPAddress const & to)
        {
            first = from;
            second = to;
        }
        bool operator==(CKey const & other) const { return first == other.first && second == other.second; }
        void packValue(ktools::CMemoryBuffer & buffer) const { buffer.Write(this, sizeof *this); }
        void unpackValue(ktools::CMemoryBuffer & buffer) { buffer.Read(this, sizeof *this); }

        CIPAddress first;
        CIPAddress second;
    };
    using CHasher = CWordHasher<CKey>;
    using Container = CHashedContainerStat<CIPConnectionStat, CKey, CHasher>;

    CIPConnectionStat(CBaseStat * theParent, unsigned short theId);
    CIPConnectionStat(CBaseStat * theParent, unsigned short theId, CKey const & theKey);

    static CStructStatDescription const & groupDescription();
    CFilter * buildFilter() const override;
    CKey const & rowKey() const { return key; }
    void takeKey(CKey const & theKey);
    // Whether a row of that key under the last id is that of the others.
    static bool isOthers(CKey const & theKey) { return theKey == CKey(); }

    // The key takes the children's addresses.
    void updateKey();

    // clang-format off
#define COLUMNS(COLUMN)                                             \
    COLUMN(1, source,            schema::IpAddress<1154>)           \
    COLUMN(2, destination,       schema::IpAddress<1155>)           \
    COLUMN(3, dataTransmitted,   schema::DataTransmitted)           \
    COLUMN(4, framesTransmitted, schema::FramesTransmitted)         \
    COLUMN(5, averageFrameSize,  schema::AverageFrameSize)          \
    COLUMN(6, percentage,        schema::Percentage)
    KETSTATS_COLUMNS(CIPConnectionStat, COLUMNS)
#undef COLUMNS
    // clang-format on

public:
    CKey key;

protected:
    void doUnpackValue(ktools::CMemoryBuffer & buffer) override;
    void doAssign(CBaseStat const & other) override;
};

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

KETSTATS_EXTERN_TEMPLATE(
    CHashedContainerStat<CMACConnectionStat, CMACConnectionStat::CKey, CMACConnectionStat::CHasher>);
KETSTATS_EXTERN_TEMPLATE(
    CHashedContainerStat<CIPConnectionStat, CIPConnectionStat::CKey, CIPConnectionStat::CHasher>);
KETSTATS_EXTERN_TEMPLATE(CHashedContainerStat<CARPStat, CIPAddress, CARPStat::CHasher>);

} // namespace KetStats
