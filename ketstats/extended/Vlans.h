#pragma once

#include "ketstats/schema/Columns.h"

namespace KetStats {

// Traffic by VLAN, of the outer tag for 0 and of the inner one for 1: a row of "Outer VLANs" or "Inner VLANs". The key
// holds the identifier, 0 to 4095, as a protocol id of two bytes.
template <int N>
class KETSTATS_TEMPLATE CGenVlanStat : public CBaseStaticContainerStat
{
public:
    using CHasher = CWordHasher<CProtocolIdPacked>;
    using Container = CHashedContainerStat<CGenVlanStat, CProtocolIdPacked, CHasher>;

    CGenVlanStat(CBaseStat * theParent, unsigned short theId);
    CGenVlanStat(CBaseStat * theParent, unsigned short theId, CProtocolIdPacked const & key);

    static CStructStatDescription const & groupDescription();
    CFilter * buildFilter() const override;
    CProtocolIdPacked const & rowKey() const { return vlanId.get(); }
    void takeKey(CProtocolIdPacked const & key) { vlanId = key; }

    // clang-format off
#define COLUMNS(COLUMN)                                             \
    COLUMN(1, vlanId,            schema::ProtocolId<1245>)          \
    COLUMN(2, dataTransmitted,   schema::DataTransmitted)           \
    COLUMN(3, framesTransmitted, schema::FramesTransmitted)         \
    COLUMN(4, averageFrameSize,  schema::AverageFrameSize)          \
    COLUMN(5, percentage,        schema::Percentage)
    KETSTATS_COLUMNS(CGenVlanStat, COLUMNS)
#undef COLUMNS
    // clang-format on

private:
    CGenVlanStat(CGenVlanStat const &) = delete;
    CGenVlanStat & operator=(CGenVlanStat const &) = delete;
};

using COuterVlanStat = CGenVlanStat<0>;
using CInnerVlanStat = CGenVlanStat<1>;

// The VLANs of frames with a tag, and of those with a second one behind it.
class KETSTATS_API CVlansStat : public schema::CUnfilteredContainerStat
{
public:
    CVlansStat(CBaseStat * theParent, unsigned short theId);
    static CStructStatDescription const & groupDescription();

    // clang-format off
#define COLUMNS(COLUMN)                                                                    \
    COLUMN(1, outer, schema::CTableColumn<COuterVlanStat, 1237, &CTableLimits::vlans>)     \
    COLUMN(2, inner, schema::CTableColumn<CInnerVlanStat, 1238, &CTableLimits::innerVlans>)
    KETSTATS_COLUMNS(CVlansStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

KETSTATS_EXTERN_TEMPLATE(CGenVlanStat<0>);
KETSTATS_EXTERN_TEMPLATE(CGenVlanStat<1>);
KETSTATS_EXTERN_TEMPLATE(CHashedContainerStat<COuterVlanStat, CProtocolIdPacked, COuterVlanStat::CHasher>);
KETSTATS_EXTERN_TEMPLATE(CHashedContainerStat<CInnerVlanStat, CProtocolIdPacked, CInnerVlanStat::CHasher>);

} // namespace KetStats
