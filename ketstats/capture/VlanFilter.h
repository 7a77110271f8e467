#pragma once

#include "ketstats/capture/FieldFilter.h"

// Frames of one VLAN: with its identifier in the tag that stands first in front of the type, or in the second one. A
// third tag isn't looked at. The priority beside the identifier doesn't matter.
class KNDISLIB_API CVlanFilter : public CFilter
{
public:
    enum eTag : unsigned int
    {
        vtOuter = 0,
        vtInner = 1,
    };

    enum : unsigned short
    {
        highestIdentifier = 4095,
    };

    // A higher identifier, and a tag that isn't one of these, pass nothing, and are neither packed nor read from a
    // stream.
    CVlanFilter(unsigned short theIdentifier, eTag theTag, std::string const & theDescription,
                bool isNegated);

    unsigned short identifier;
    eTag tag;

    KETSTATS_FIELD_FILTER(CVlanFilter)

protected:
    void checkPackable(unsigned int levels) const override;
};
