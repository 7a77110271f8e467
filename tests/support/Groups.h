#pragma once

#include "ketstats/model/StatTypes.h"
#include "ketstats/schema/Columns.h"

namespace test {

// A node without a parent that a test can hang leaves below.
class Root : public KetStats::schema::CUnfilteredContainerStat
{
public:
    explicit Root(unsigned short theId = 1) : CUnfilteredContainerStat(nullptr, theId, groupDescription()) {}

    static KetStats::CStructStatDescription const & groupDescription()
    {
        static KetStats::CStructStatDescription const description(1145, columnDescriptions());
        return description;
    }

    // clang-format off
#define COLUMNS(COLUMN)                                                                     \
    COLUMN(1, number, KetStats::schema::Counter<1129, KetStats::schema::Unit::frame>)       \
    COLUMN(2, text,   KetStats::schema::Text<1128>)
    KETSTATS_COLUMNS(Root, COLUMNS)
#undef COLUMNS
    // clang-format on
};

// Two plain children of different sizes: 32 bits with the id 1, 16 bits with the id 2.
class Pair : public KetStats::schema::CUnfilteredContainerStat
{
public:
    explicit Pair(KetStats::CBaseStat * theParent = nullptr, unsigned short theId = 1)
        : CUnfilteredContainerStat(theParent, theId, groupDescription())
    {}

    static KetStats::CStructStatDescription const & groupDescription()
    {
        static KetStats::CStructStatDescription const description(1145, columnDescriptions());
        return description;
    }

    using Short =
        KetStats::schema::CLeafColumn<KetStats::CValueStat<unsigned short>,
                                      KetStats::CIntegerStatDescription<unsigned short>, 1130, 1169>;
    // clang-format off
#define COLUMNS(COLUMN)                                                                     \
    COLUMN(1, first,  KetStats::schema::Counter<1129, KetStats::schema::Unit::frame>)       \
    COLUMN(2, second, Short)
    KETSTATS_COLUMNS(Pair, COLUMNS)
#undef COLUMNS
    // clang-format on
};

// A group of a leaf, a group and a text: what a packed tree is made of.
class Nest : public KetStats::schema::CUnfilteredContainerStat
{
public:
    Nest() : CUnfilteredContainerStat(nullptr, 1, groupDescription()) {}

    static KetStats::CStructStatDescription const & groupDescription()
    {
        static KetStats::CStructStatDescription const description(1145, columnDescriptions());
        return description;
    }

    // clang-format off
#define COLUMNS(COLUMN)                                        \
    COLUMN(1, data, KetStats::schema::Bytes<1130>)             \
    COLUMN(2, pair, KetStats::schema::CGroupColumn<Pair>)      \
    COLUMN(3, text, KetStats::schema::Text<1128>)
    KETSTATS_COLUMNS(Nest, COLUMNS)
#undef COLUMNS
    // clang-format on
};

} // namespace test
