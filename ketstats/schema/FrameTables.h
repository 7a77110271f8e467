#pragma once

#include "ketstats/schema/Columns.h"

namespace KetStats {

// One row of a frame table. Its description is given to it, so that one class serves every row; the row shows
// the name of that description as its first column.
class KETSTATS_API CFrameTypeOrSizeStat : public schema::CUnfilteredContainerStat
{
public:
    CFrameTypeOrSizeStat(CBaseStat * theParent, unsigned short theId,
                         CStructStatDescription const & theDescription);

    // clang-format off
#define COLUMNS(COLUMN)                                                     \
    COLUMN(1, name,       schema::Text<1128>)                               \
    COLUMN(2, frames,     schema::Counter<1129, schema::Unit::frame>)       \
    COLUMN(3, data,       schema::Bytes<1130>)                              \
    COLUMN(4, percentage, schema::Percentage)
    KETSTATS_COLUMNS(CFrameTypeOrSizeStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

namespace schema {

// A row of a frame table, under a name.
template <unsigned int Name>
struct FrameRow
{
    using Node = CFrameTypeOrSizeStat;

    template <unsigned short Id>
    static CStructStatDescription const & description()
    {
        static CStructStatDescription const theDescription(Name, Node::columnDescriptions());
        return theDescription;
    }

    template <unsigned short Id>
    static Node make(CBaseStat * parent)
    {
        return Node(parent, Id, description<Id>());
    }
};

} // namespace schema

// Frames by destination. The ids leave the order of the string resources, and that is fixed.
class KETSTATS_API CFrameTypesStat : public schema::CUnfilteredContainerStat
{
public:
    CFrameTypesStat(CBaseStat * theParent, unsigned short theId);
    static CStructStatDescription const & groupDescription();

    // clang-format off
#define COLUMNS(COLUMN)                         \
    COLUMN(1, broadcast, schema::FrameRow<1133>)  \
    COLUMN(2, multicast, schema::FrameRow<1134>)  \
    COLUMN(3, unicast,   schema::FrameRow<1132>)
    KETSTATS_COLUMNS(CFrameTypesStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

// Frames by the number of bytes that they count for.
class KETSTATS_API CFrameSizesStat : public schema::CUnfilteredContainerStat
{
public:
    CFrameSizesStat(CBaseStat * theParent, unsigned short theId);
    static CStructStatDescription const & groupDescription();

    // clang-format off
#define COLUMNS(COLUMN)                            \
    COLUMN(1, size64,       schema::FrameRow<2000>)  \
    COLUMN(2, size128,      schema::FrameRow<2001>)  \
    COLUMN(3, size256,      schema::FrameRow<2002>)  \
    COLUMN(4, size512,      schema::FrameRow<2003>)  \
    COLUMN(5, size1024,     schema::FrameRow<2004>)  \
    COLUMN(6, sizeOver1024, schema::FrameRow<2005>)
    KETSTATS_COLUMNS(CFrameSizesStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

class KETSTATS_API CFrameTablesStat : public schema::CUnfilteredContainerStat
{
public:
    CFrameTablesStat(CBaseStat * theParent, unsigned short theId);
    static CStructStatDescription const & groupDescription();

    // clang-format off
#define COLUMNS(COLUMN)                                                 \
    COLUMN(1, frameTypes, schema::CGroupColumn<CFrameTypesStat>)        \
    COLUMN(2, frameSizes, schema::CGroupColumn<CFrameSizesStat>)
    KETSTATS_COLUMNS(CFrameTablesStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

} // namespace KetStats
